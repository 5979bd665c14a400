#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "system/Descriptor.h"
#include "system/copier/NameList.h"

namespace copier {

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

}  // namespace copier
