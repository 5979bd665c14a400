#pragma once
// What a copy takes over from an earlier copy of the same items, and what proves that it may.
//
// A file system tells of a file its size, times, mode and owner. Programs can set all of these but
// one: the inode's change time, which any change of contents, attributes or name moves on by the
// file system's own clock. So:
//
//   size, modification time, mode or owner differ    changed: copied
//   all same, not changed since the last copy began  unchanged
//   all same, changed since                          perhaps: attributes and contents decide
//   all same, written through a mapping ("doubted")  perhaps: that need not show in any time
//   all same, on another file system                 perhaps: its clock is not the items'
//
// "Since" is strict. A change in the very tick in which the last copy began counts as one.
//
// What is unchanged is brought over in the cheapest way that there is: sharing blocks with the
// earlier copy, where the file system can; else the same file under a second name. A second name is
// given only to a file that has no other: the earlier copy is dropped when the new one is whole,
// and a file with further names would make the two generations one for good. A file that has
// several names in the original is therefore copied, or shares blocks, and is linked within the new
// copy (LinkTable).
//
// Anything that does not work out leaves the file to be copied, which is always right.

#include <sys/stat.h>

#include <atomic>
#include <ctime>
#include <optional>
#include <string>
#include <tuple>

#include "platform/FileCopying.h"
#include "system/TreeCopier.h"
#include "system/copier/CopyTally.h"
#include "system/copier/FileContents.h"
#include "system/copier/Folders.h"
#include "system/copier/LinkTable.h"

namespace copier {

inline bool isBefore(const timespec& a, const timespec& b) {
  return std::tie(a.tv_sec, a.tv_nsec) < std::tie(b.tv_sec, b.tv_nsec);
}

inline bool isSame(const timespec& a, const timespec& b) {
  return std::tie(a.tv_sec, a.tv_nsec) == std::tie(b.tv_sec, b.tv_nsec);
}

enum class Unchanged { No, Perhaps, Yes };

// Tells from what the file system says of a file and of its earlier copy whether it changed since.
// Any thread.
class UnchangedRule {
 public:
  // `device` is the original's; it is by its clock that change times are told.
  UnchangedRule(const platform::FileCopying& system, const std::optional<EarlierCopy>& earlier,
                dev_t device);

  // Without this no file counts as unchanged.
  bool canTell() const { return earlier_ && earlier_->unchangedBefore; }

  // Perhaps: only the change time speaks against it, and contents and attributes are the proof.
  Unchanged judge(const struct stat& original, const struct stat& copy) const;

  // Whether file systems tell the same of them, but for the change time.
  bool looksSame(const struct stat& original, const struct stat& copy) const;

 private:
  const platform::FileCopying& system_;
  const EarlierCopy* earlier_;
  dev_t device_;
};

struct NamedEntry {
  int folder;
  const char* name;
};

// Where an entry comes from and where its copy goes.
struct EntryPlace {
  const FolderPtr& folder;  // null for an item that is copied by itself
  Origin origin;
  NamedEntry from;
  NamedEntry to;
  NamedEntry earlier;  // folder -1 for none

  // Relative to the root.
  std::string entry() const { return folder ? folder->relativePath(from.name) : std::string(); }

  bool getsListsFromAbove() const { return !folder || folder->handsListsDown; }
};

// What the threads of one copy share.
struct CopyShared {
  const platform::FileCopying& system;
  OpenFolders& open;
  CopyTally& tally;
  const UnchangedRule& rule;

  // The ids of what this process makes.
  uid_t user;
  gid_t group;

  LinkTable links{};
  std::atomic<bool> sharesBlocks{true};  // with the earlier copy, as far as is known

  bool makesOwnerOf(const struct stat& facts) const {
    return facts.st_uid == user && facts.st_gid == group;
  }
  bool isOwned(const EntryPlace& place, const struct stat& facts) const {
    return place.folder && place.folder->ownsWhatIsMade && makesOwnerOf(facts);
  }
};

// Takes files over from an earlier copy instead of copying them, for one thread. What cannot be
// taken over is left to be copied, without a failure.
class TakeOver {
 public:
  explicit TakeOver(CopyShared& shared) : shared_(shared), comparison_(shared.system) {}

  // A file without further links that did not change. It is not opened unless it is to be compared
  // or to share blocks.
  bool take(const EntryPlace& place);

  // One with further links, which must not become the same file as its earlier copy: as a file of
  // its own that shares blocks.
  bool share(const EntryPlace& place, const struct stat& original);

 private:
  bool takeUnchanged(const EntryPlace& place, const struct stat& original);
  bool isUnchanged(const EntryPlace& place, const struct stat& original, struct stat& copy);
  bool isSame(const EntryPlace& place);
  bool shareBlocks(const EntryPlace& place, const NamedEntry& from, const struct stat& original);
  bool link(const EntryPlace& place, const NamedEntry& from, const struct stat& copy);

  CopyShared& shared_;
  FileComparison comparison_;
};

}  // namespace copier
