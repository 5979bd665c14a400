#include "platform/posix/Deletable.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "extensions/PathExtension.h"

namespace platform {
namespace {

bool factsOf(const std::string& path, struct stat& facts) {
  return lstat(path.c_str(), &facts) == 0;
}

// A shared folder such as "/tmp" gives up an item only to the item's owner or its own.
bool isOthersInSharedFolder(const struct stat& item, const struct stat& folder) {
  const uid_t user = geteuid();
  const bool isShared = (folder.st_mode & S_ISVTX) != 0;
  return isShared && user != 0 && user != item.st_uid && user != folder.st_uid;
}

#if defined(__linux__)
bool hasAttribute(const std::string& path, std::uint64_t attributes) {
  struct statx facts {};
  const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
  return statx(AT_FDCWD, path.c_str(), flags, STATX_TYPE, &facts) == 0 &&
         (facts.stx_attributes & attributes) != 0;
}

bool isHeld(const std::string& path, const std::string& folder) {
  return hasAttribute(path, STATX_ATTR_MOUNT_ROOT | STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND) ||
         hasAttribute(folder, STATX_ATTR_APPEND);
}
#else
bool isHeld(const std::string& path, const std::string&) {
  struct stat item {};
  return factsOf(path, item) && (item.st_flags & (UF_IMMUTABLE | SF_IMMUTABLE)) != 0;
}
#endif

}  // namespace

bool isDeletableItem(const std::string& path) {
  const std::string folder = extensions::deletingLastPathComponent(path);
  struct stat item {};
  struct stat above {};
  if (folder.empty() || folder == path || !factsOf(path, item)) return false;
  if (stat(folder.c_str(), &above) != 0 || above.st_dev != item.st_dev) return false;
  return access(folder.c_str(), W_OK | X_OK) == 0 && !isOthersInSharedFolder(item, above) &&
         !isHeld(path, folder);
}

}  // namespace platform
