#pragma once
// The folders of a walk: the names in one (NameList, FolderListing, NamedEntries), one whose walk
// has begun (Folder), and which of them are open (OpenFolders).
//
// A walk may have any number of folders begun at a time: one for each level of the tree that it is
// in, and some more for each thread. Descriptors are few, so OpenFolders keeps only those used last
// open. One that was closed is opened anew by its name in the nearest folder above that is open, or
// as the parent of one below, never by its path: a path may be longer than the system takes, and
// may lead through a link that somebody put there meanwhile. What is opened anew is held against
// what it was (FolderIdentity); another one in its place is an error.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "leaf/Descriptor.h"

namespace copier {

inline constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

enum class EntryKind : char { Folder = 'd', File = 'f', Other = 'o' };

inline EntryKind kindOf(const struct stat& facts) {
  if (S_ISDIR(facts.st_mode)) return EntryKind::Folder;
  return S_ISREG(facts.st_mode) ? EntryKind::File : EntryKind::Other;
}

// Names of a folder's entries in the order they were added, packed so that a million of them take
// little more than their letters. What was taken is freed along the way.
class NameList {
 public:
  struct Entry {
    EntryKind kind;
    const char* name;  // valid until the next entry is taken
  };

  void add(EntryKind kind, std::string_view name);
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  // Takes the first entry away; nullopt when there is none.
  std::optional<Entry> take();

  // Takes the first half away.
  NameList takeHalf();

 private:
  std::vector<std::string> blocks_;  // each entry a kind, a name, a terminator
  std::size_t block_ = 0;            // where the first entry lies
  std::size_t offset_ = 0;
  std::size_t size_ = 0;
};

// Reads the names of an open folder, which must not have been listed before. The descriptor stays
// the caller's.
class FolderListing {
 public:
  explicit FolderListing(int folder);

  // The next entry, without "." and ".."; nullopt at the end and after a failure. The name lives
  // until the next call.
  std::optional<NameList::Entry> next();

  // An errno value; 0 while nothing failed.
  int error() const { return error_; }

 private:
  struct Closer {
    void operator()(DIR* stream) const { closedir(stream); }
  };

  EntryKind kindOf(const dirent& entry) const;

  int folder_;
  int error_ = 0;
  std::unique_ptr<DIR, Closer> stream_;
};

// An item's name leads nowhere else than to an entry of its folder.
bool isEntryName(std::string_view name);

// The named entries of an open folder with their kinds, and with an errno value those that it does
// not have or that are no names.
struct NamedEntries {
  NameList found;
  std::vector<std::pair<std::string, int>> missing;

  NamedEntries(int folder, const std::vector<std::string>& names);

 private:
  void look(int folder, const std::string& name);
};

// A walk lists one tree, side 0, and may follow the same folders of others in step with it, such as
// the copy being made.
inline constexpr std::size_t kMostSides = 3;

// What the sides of a copy are.
inline constexpr std::size_t kFrom = 0;
inline constexpr std::size_t kTo = 1;
inline constexpr std::size_t kEarlier = 2;

// One folder opened on each side; no descriptor where a side has no such folder.
using Sides = std::array<Descriptor, kMostSides>;
using SidesPtr = std::shared_ptr<const Sides>;

// Where the entries of a folder come from.
enum class Origin : char {
  Original,
  Lacked,  // the earlier copy, as the original lacks them without their having been deleted
  Unread,  // the earlier copy, as the original could not be read
};

// Tells a folder from another that was put in its place.
struct FolderIdentity {
  dev_t device = 0;
  ino_t inode = 0;  // 0 for none

  static FolderIdentity of(const struct stat& facts);
  static FolderIdentity of(int folder);  // none, with errno set, when the system does not say
  bool operator==(const FolderIdentity&) const = default;
};

// A folder whose walk has begun. It lives until all below it is done, and its chain of parents with
// it, so that it can be named, and opened anew, without its path.
struct Folder {
  Folder(std::shared_ptr<Folder> above, std::string ownName)
      : parent(std::move(above)), name(std::move(ownName)) {}
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  std::string path() const;
  std::string path(const char* entry) const;

  // From the root on, which itself is "".
  std::string relativePath() const;
  std::string relativePath(const char* entry) const;

  std::shared_ptr<Folder> parent;  // null for the root, whose name is its path
  const std::string name;
  std::array<FolderIdentity, kMostSides> identities{};  // set when it is first opened
  std::size_t listed = kFrom;                           // the side whose entries are visited

  NameList subfolders;                       // not begun; guarded by the walk
  bool gotMore = false;                      // the visitor was asked for more
  bool listingFailed = false;                // not all that it holds was visited
  std::atomic<std::uint32_t> unfinished{1};  // its listing, batches and folders below

  SidesPtr sides;  // null while closed; guarded by OpenFolders, as is the next
  std::uint64_t lastUse = 0;

  // For the visitor of the walk.
  Origin origin = Origin::Original;
  bool ownsWhatIsMade = false;       // what is made in it needs no change of owner
  bool handsListsDown = false;       // what is made in it may get access lists from it
  std::atomic<bool> remains{false};  // something in it could not be removed
  std::uint32_t lacking = 0;         // its place in LackingEntries
  std::uint32_t number = 0;          // 0 until the visitor gives it one
  std::uint64_t mount = 0;           // that the original lies on
};
using FolderPtr = std::shared_ptr<Folder>;

// Keeps a walk's folders open, but only so many of them: those unused for longest are closed, and
// opened anew when they are asked for, however deep they lie. The root stays open. Any thread.
class OpenFolders {
 public:
  // A folder that was just opened; notes the identities that it does not have yet.
  SidesPtr add(const FolderPtr& folder, Sides sides);

  // Null with errno set when it cannot be opened any more: ESTALE when another took its place. What
  // was handed out stays open for as long as it is held.
  SidesPtr acquire(const FolderPtr& folder);

  // Opens the next folders above that were closed, as the walk will come back to them, by way of
  // this one, which is shorter than from the root. A failure shows when such a folder is acquired.
  void openAbove(const FolderPtr& folder, const SidesPtr& sides);

  // Null while it is closed.
  SidesPtr find(const FolderPtr& folder);

  void close(const FolderPtr& folder);

 private:
  SidesPtr keep(const FolderPtr& folder, Sides sides);
  SidesPtr makeRoom();
  SidesPtr climbOpen(FolderPtr& at, SidesPtr sides);

  std::mutex mutex_;
  std::vector<FolderPtr> open_;  // without the root
  std::uint64_t uses_ = 0;
};

}  // namespace copier
