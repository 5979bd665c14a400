#pragma once

#include <optional>
#include <string>

#include "platform/FileCopying.h"
#include "system/TreeCopier.h"
#include "system/copier/Folder.h"
#include "system/copier/LackingEntries.h"
#include "system/copier/OpenFolders.h"

namespace copier {

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
