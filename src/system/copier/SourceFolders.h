#pragma once
// Which side a copy is read from. Mostly that is the original. The earlier copy stands in where
//
// - a folder of the original cannot be opened, or not listed to its end: its entries are copied
//   from there, and count as failed all the same (Origin::Unread);
// - an entry is not in the original because it could not be brought in before, which the volume
//   remembers (EarlierCopy::lacking): nobody deleted it (Origin::Lacked).
//
// What the original does not have otherwise was deleted, and is not taken. A mount point hides the
// folder below it, whose contents nobody sees: it counts as one that cannot be opened, what is
// mounted there is not entered, and without an earlier copy an empty folder is made.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FileCopying.h"
#include "system/TreeCopier.h"
#include "system/copier/Folders.h"

namespace copier {

// The listed entries that an original lacks, as a tree of their names, so that a walk can go down
// it in step. Read by any thread.
class LackingEntries {
 public:
  using Place = std::uint32_t;  // an entry on the way to a listed one, or a listed one
  static constexpr Place kNone = 0;
  static constexpr Place kRoot = 1;

  // Relative paths, "a/b/c".
  explicit LackingEntries(const std::vector<std::string>& paths);

  Place find(Place above, std::string_view name) const;
  bool isListed(Place place) const { return nodes_[place].listed; }

  // The listed entries directly in it.
  std::vector<std::string> listedIn(Place place) const;

 private:
  struct Node {
    std::map<std::string, Place, std::less<>> below;
    bool listed = false;
  };

  void add(std::string_view path);
  Place findOrAdd(Place above, std::string_view name);

  std::vector<Node> nodes_;  // by place; in one row, as they may lie deep
};

// Opens what a walk reads: each folder of the original and its earlier copy, which stands in for
// what cannot be read and for what the original lacks. Any thread.
class SourceFolders {
 public:
  struct Opened {
    Sides sides;              // the listed one is open unless the folder cannot be walked
    int error = 0;            // of the original
    bool otherMount = false;  // and so not to be entered

    bool canBeWalked(const Folder& folder) const { return static_cast<bool>(sides[folder.listed]); }
  };

  SourceFolders(const platform::FileCopying& system, const std::optional<EarlierCopy>& earlier);

  // The root by its path. `item` is its name within the earlier folder when it is the one item, and
  // empty when it holds the items.
  Opened openRoot(Folder& root, const std::string& item);
  Opened open(Folder& folder, const Sides& above) const;

  // What is to be taken from the earlier copy beside what the walk found; the folder's entries come
  // from there then.
  NameList lacking(Folder& folder, const Sides& sides) const;

 private:
  void openOriginal(Folder& folder, int above, Opened& opened) const;
  bool isOnOtherMount(const Folder& folder) const;
  bool takesAllLacking(const Folder& folder) const;
  void addListed(const Folder& folder, const Sides& sides, NameList& names) const;
  void addAllLacking(const Folder& folder, const Sides& sides, NameList& names) const;
  void addIfLacking(const Folder& folder, const Sides& sides, const NameList::Entry& entry,
                    NameList& names) const;

  const platform::FileCopying& system_;
  const EarlierCopy* earlier_;
  const LackingEntries lacking_;
  bool rootHoldsItems_ = false;
};

}  // namespace copier
