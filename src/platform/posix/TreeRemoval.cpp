// A tree is removed while others may be changing it: a program that still writes into its cache, or
// somebody who puts a link where a directory was in order to have something else removed. A path
// that was looked at means nothing a moment later. Therefore only the first step goes by a path, to
// the folder of the item; from there each directory is opened from the one above it, without
// following a link, and what is in it is removed relative to the open directory.
//
//   descend   open the directory of that name here, and look at it by its descriptor: on another
//             mount than the folder, bind mounts included, the removal ends with EBUSY. Remove what
//             are not directories, keep the names of those that are.
//   leave     open ".." and compare it with the directory that we came from, which somebody may
//             have moved elsewhere meanwhile; then remove the one left, which is empty, from there.
//
// The way back by ".." is why two descriptors are enough for a tree of any depth, and a list of
// levels instead of a recursion why the stack is. A directory of the user's own that may not be
// read or written is given the rights for it first; the mode is changed by name only after a look
// that it is on this mount, as opening needs it.
#include "platform/posix/TreeRemoval.h"

#include <fcntl.h>
#include <sys/stat.h>
#if defined(__linux__)
#include <sys/sysmacros.h>
#endif

#include <cerrno>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "leaf/Descriptor.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

constexpr int kOpenDirectory = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
#if defined(O_PATH)
constexpr int kOpenFolder = O_PATH | O_DIRECTORY | O_CLOEXEC;  // asks for no right to list it
#else
constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
#endif

struct Identity {
  dev_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t mount = 0;  // 0 where the system does not number mounts
  mode_t mode = 0;
  uid_t owner = 0;

  bool isOnSameMount(const Identity& other) const {
    return device == other.device && mount == other.mount;
  }
  bool isSameDirectory(const Identity& other) const {
    return isOnSameMount(other) && inode == other.inode;
  }
};

// Of the item `name` in the directory; of the directory itself with an empty name.
std::optional<Identity> identityOf(int directory, const char* name) {
#if defined(__linux__)
  struct statx facts {};
  const int flags = AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
  if (statx(directory, name, flags, STATX_BASIC_STATS | STATX_MNT_ID, &facts) != 0)
    return std::nullopt;
  return Identity{makedev(facts.stx_dev_major, facts.stx_dev_minor), facts.stx_ino,
                  (facts.stx_mask & STATX_MNT_ID) != 0 ? facts.stx_mnt_id : 0, facts.stx_mode,
                  facts.stx_uid};
#else
  struct stat facts {};
  const int status = *name == '\0' ? fstat(directory, &facts)
                                   : fstatat(directory, name, &facts, AT_SYMLINK_NOFOLLOW);
  if (status != 0) return std::nullopt;
  return Identity{facts.st_dev, facts.st_ino, 0, facts.st_mode, facts.st_uid};
#endif
}

bool mayChangeMode(const Identity& identity) {
  return (identity.mode & S_IRWXU) != S_IRWXU && identity.owner == geteuid();
}

// Something else may have removed it meanwhile, which is as good.
bool unlinked(int directory, const std::string& name, int flags) {
  return unlinkat(directory, name.c_str(), flags) == 0 || errno == ENOENT;
}

class TreeRemover {
 public:
  TreeRemover(std::string folder, Descriptor top, Identity identity)
      : path_(std::move(folder)), top_(std::move(top)), topIdentity_(identity) {}

  Outcome remove(const std::string& name) {
    if (auto done = descend(name); !done) return done;
    while (!levels_.empty()) {
      if (auto done = step(); !done) return done;
    }
    return {};
  }

 private:
  struct Level {
    std::string name;
    Identity identity;
    std::vector<std::string> directories;  // not removed yet
  };

  const Descriptor& here() const { return levels_.empty() ? top_ : current_; }
  const Identity& identityHere() const {
    return levels_.empty() ? topIdentity_ : levels_.back().identity;
  }

  std::string pathOf(const std::string& name) const {
    std::string path = path_;
    for (const auto& level : levels_) path += "/" + level.name;
    return path + "/" + name;
  }

  Outcome step() {
    auto& directories = levels_.back().directories;
    if (directories.empty()) return leave();
    const std::string next = std::move(directories.back());
    directories.pop_back();
    return descend(next);
  }

  // The current directory becomes the one of that name, emptied of all but directories.
  Outcome descend(const std::string& name) {
    Descriptor directory(openat(here().get(), name.c_str(), kOpenDirectory));
    if (!directory && errno == EACCES) directory = openAfterChangingMode(name);
    const auto identity = directory ? identityOf(directory.get(), "") : std::nullopt;
    if (!identity) return lastPosixError(pathOf(name));
    if (!identity->isOnSameMount(identityHere())) return posixError(EBUSY, pathOf(name));
    if (mayChangeMode(*identity)) fchmod(directory.get(), S_IRWXU);
    levels_.push_back({name, *identity, {}});
    current_ = std::move(directory);
    return removeFiles();
  }

  // A directory that the user owns and may not read. That it is on this mount is looked at first,
  // so that nothing of a volume mounted there is touched.
  Descriptor openAfterChangingMode(const std::string& name) const {
    const auto identity = identityOf(here().get(), name.c_str());
    const bool changed = identity && identity->isOnSameMount(identityHere()) &&
                         mayChangeMode(*identity) &&
                         fchmodat(here().get(), name.c_str(), S_IRWXU, AT_SYMLINK_NOFOLLOW) == 0;
    if (changed) return Descriptor(openat(here().get(), name.c_str(), kOpenDirectory));
    errno = EACCES;
    return {};
  }

  Outcome removeFiles() {
    auto entries = listDirectory(current_.get(), {});
    if (!entries) return posixError(static_cast<int>(entries.error().code), pathOf("."));
    for (auto& entry : *entries) {
      if (entry.isDirectory)
        levels_.back().directories.push_back(std::move(entry.name));
      else if (!unlinked(current_.get(), entry.name, 0))
        return lastPosixError(pathOf(entry.name));
    }
    return {};
  }

  // Back to the directory above, where the one left, empty now, is removed. Had someone moved it
  // elsewhere meanwhile, ".." would lead to what was not asked for.
  Outcome leave() {
    const Level left = std::move(levels_.back());
    levels_.pop_back();
    if (!levels_.empty()) {
      Descriptor above(openat(current_.get(), "..", kOpenDirectory));
      const auto identity = above ? identityOf(above.get(), "") : std::nullopt;
      if (!identity) return lastPosixError(pathOf(left.name));
      if (!identity->isSameDirectory(identityHere())) return posixError(ESTALE, pathOf(left.name));
      current_ = std::move(above);
    }
    if (unlinked(here().get(), left.name, AT_REMOVEDIR)) return {};
    return lastPosixError(pathOf(left.name));
  }

  std::string path_;  // of the folder that the item lies in; empty for "/"
  Descriptor top_;    // that folder
  Identity topIdentity_;
  Descriptor current_;
  std::vector<Level> levels_;
};

}  // namespace

Outcome removeTree(const std::string& path) {
  const auto last = path.find_last_not_of('/');
  if (last == std::string::npos) return posixError(path.empty() ? ENOENT : EBUSY, path);
  const std::string trimmed = path.substr(0, last + 1);
  const auto slash = trimmed.rfind('/');
  const std::string name = trimmed.substr(slash == std::string::npos ? 0 : slash + 1);
  if (name == "." || name == "..") return posixError(EINVAL, path);
  const std::string folder = slash == std::string::npos ? "." : trimmed.substr(0, slash);

  Descriptor top(open(folder.empty() ? "/" : folder.c_str(), kOpenFolder));
  const auto topIdentity = top ? identityOf(top.get(), "") : std::nullopt;
  const auto identity = topIdentity ? identityOf(top.get(), name.c_str()) : std::nullopt;
  if (!identity) return lastPosixError(path);
  if (S_ISDIR(identity->mode))
    return TreeRemover(folder, std::move(top), *topIdentity).remove(name);
  if (unlinkat(top.get(), name.c_str(), 0) == 0) return {};
  return lastPosixError(path);
}

}  // namespace platform
