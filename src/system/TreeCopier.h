#pragma once
// The one copier of trees: refill, restore, backup and synchronisation all use it.

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/Result.h"

struct CopyProgress {
  std::uint64_t bytes = 0;    // copied so far, of regular files
  std::uint64_t entries = 0;  // made so far
};

// An earlier copy of the same items, of which a new one may take what did not change.
struct EarlierCopy {
  std::string folder;  // holds the items under the same names

  // A file counts as unchanged when the earlier copy has its size, modification time, mode and
  // owner, and its inode change time lies strictly before this, by the clock of the original's file
  // system. Where only the change time speaks against it, contents and attributes are compared.
  // nullopt: nothing is taken over but what cannot be read or is lacking, and no file gets a second
  // name.
  std::optional<timespec> unchangedBefore;

  // Inodes of originals whose change time proves nothing, as when a program writes to them through
  // a mapping; they are compared. In ascending order.
  std::vector<ino_t> doubted;

  // Entries, relative to the folder, that the original lacks without their having been deleted, as
  // they could not be brought in before. They are taken over unless the folder above is gone. Of a
  // listed folder that is there, only some entries came in: what it lacks itself is taken over.
  std::vector<std::string> lacking;
  bool lacksUnlisted = false;  // there were too many to list: all that the original lacks is taken

  // Names in the folder itself that are not taken over although the original lacks them; none when
  // empty. Called by one thread at a time.
  std::function<bool(const std::string&)> leavesAlone{};
};

struct CopyOptions {
  // Called at most 20 times a second and once at the end, from any of the copier's threads but
  // never from two at once.
  std::function<void(const CopyProgress&)> progress;
  unsigned threads = 0;  // 0: as many as the machine serves well

  // What is taken over shares blocks with the earlier copy where the file system can, else is the
  // same file under a second name, else is copied. An entry that cannot be read is taken over as it
  // was, by copying, and counts as failed all the same.
  std::optional<EarlierCopy> earlier{};
};

struct CopyOutcome {
  CopyProgress copied;
  std::uint64_t failedEntries = 0;
  std::uint64_t skippedEntries = 0;  // sockets and devices, which are passed over
  std::uint64_t takenOver = 0;       // files
  std::uint64_t sharedInodes = 0;    // of those, the same file under a second name
  bool destinationFull = false;  // no space or quota was left: what failed may be whole elsewhere
  std::optional<platform::SystemError> firstError;

  // The first failure within each failed item, by the item's name.
  std::map<std::string, platform::SystemError> failedItems;
  // The topmost entry of each failure, relative to the folder copied from, in ascending order; at
  // most kMostFailedPaths, and fewer where they are very long. Not what arrived but for attributes.
  std::vector<std::string> failedPaths;
  bool failedPathsCut = false;  // there were more

  // Likewise, in ascending order, without a word of more: what arrived without something that it
  // has besides contents, and what was passed over.
  std::vector<std::string> partlyCopied;
  std::vector<std::string> skippedPaths;

  static constexpr std::size_t kMostFailedPaths = 10'000;

  bool complete() const { return failedEntries == 0; }
};

// Copies one item, a folder with all that is in it, to `to`, whose parent exists. Something already
// at `to` is a failure and stays as it is. Links are copied as links and never followed. A
// mount point below is not entered and counts as failed, for what it hides. Kept: modes, times to
// the nanosecond, extended attributes and access lists, ownership where permitted, holes, hard
// links within the item. An entry that fails is logged and counted and the rest goes on. Blocks the
// caller; any thread.
CopyOutcome copyItemAtPath(const std::string& from, const std::string& to,
                           const CopyOptions& options = {});

// The same for the named items of one folder, all in one run, into another folder, which exists and
// keeps its own attributes. Links are kept across the items. What the earlier copy holds besides
// them is taken over where it is lacking, and only then.
CopyOutcome copyItems(const std::vector<std::string>& names, const std::string& fromFolder,
                      const std::string& toFolder, const CopyOptions& options = {});

// The bytes of regular files, in blocks of the file system, that copyItems would have to copy: what
// is unchanged but for its change time is counted as taken over.
platform::Result<std::uint64_t> bytesToCopy(const std::vector<std::string>& names,
                                            const std::string& fromFolder,
                                            const std::optional<EarlierCopy>& earlier,
                                            unsigned threads = 0);

// Whether an item, or an entry below one, has an inode change time at or after this; true as well
// for what cannot be looked at. The folder's own time does not count.
bool anyChangedSince(const std::vector<std::string>& names, const std::string& folder,
                     const timespec& since, unsigned threads = 0);

// Whether an entry came into one of the folders of the items, or went, at or after this: only then
// can a walk that began before have missed something that was there all the time, as it was moved
// from a folder not yet read into one that was. What cannot be looked at does not count.
bool anyMovedSince(const std::vector<std::string>& names, const std::string& folder,
                   const timespec& since, unsigned threads = 0);

// What a directory holds that a copy of it would lack, and how much of entries there is.
struct ContentsLook {
  std::uint64_t entries = 0;            // with folders, without the directory itself
  std::vector<std::string> unreadable;  // relative paths, ascending: the caller may not read them
  std::vector<std::string> special;     // sockets and devices
};
ContentsLook lookAtContents(const std::string& folder, unsigned threads = 0);
bool isSpecial(const std::string& path);

// What somebody else wrote into a folder after its contents were copied into another one.
struct ForeignChanges {
  static constexpr std::size_t kMost = 100'000;
  std::vector<std::string> paths;  // of files and the like, relative, ascending; at most kMost
  bool more = false;
};

// Entries of the items that changed at or after this, by the clock of their file system, and are
// neither the same file as in `copy` nor look the same there. What cannot be looked at is passed
// over.
ForeignChanges changedSince(const std::vector<std::string>& names, const std::string& folder,
                            const std::string& copy, const timespec& since, unsigned threads = 0);

// The inode change time of an item, by the clock of its file system; links are not followed.
platform::Result<timespec> changeTime(const std::string& path);

// Gives `to` the mode, ownership, times and extended attributes of `from`, both directories.
// Attributes whose names, without a prefix that the platform puts before them, begin with `leftOut`
// are the directory's own affair and not given.
platform::Outcome copyDirectoryAttributes(const std::string& from, const std::string& to,
                                          const std::string& leftOut = {});
