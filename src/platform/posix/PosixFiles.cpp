#include "platform/posix/PosixFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "extensions/PathExtension.h"
#include "leaf/Descriptor.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixError.h"
#include "platform/posix/TreeRemoval.h"

namespace platform {

// --- Looking

namespace {

constexpr mode_t kAllBits = S_IRWXU | S_IRWXG | S_IRWXO;  // less the process's mask

bool isDirectory(const std::string& path) {
  struct stat facts {};
  return stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

// A directory that is there already may answer with another error than EEXIST, where it lies on a
// volume that cannot be written.
bool made(const std::string& path) {
  if (mkdir(path.c_str(), kAllBits) == 0) return true;
  const int code = errno;
  if (isDirectory(path)) return true;
  errno = code == EEXIST ? ENOTDIR : code;
  return false;
}

}  // namespace

FileKind PosixFiles::kind(const std::string& path) const {
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0) return FileKind::Missing;
  return S_ISDIR(facts.st_mode) ? FileKind::Directory : FileKind::Other;
}

bool PosixFiles::isWritable(const std::string& path) const {
  return access(path.c_str(), W_OK) == 0;
}

bool PosixFiles::isExecutable(const std::string& path) const {
  return access(path.c_str(), X_OK) == 0;
}

Result<std::vector<std::string>> PosixFiles::names(const std::string& directory) const {
  const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened) return lastPosixError(directory);
  auto entries = listDirectory(opened.get(), directory);
  if (!entries) return entries.error();
  std::vector<std::string> found;
  found.reserve(entries->size());
  for (auto& entry : *entries) found.push_back(std::move(entry.name));
  return found;
}

Result<FileTimes> PosixFiles::times(const std::string& path) const {
#if defined(__linux__)
  struct statx facts {};
  if (statx(AT_FDCWD, path.c_str(), 0, STATX_MTIME | STATX_BTIME, &facts) != 0)
    return lastPosixError(path);
  const bool kept = (facts.stx_mask & STATX_BTIME) != 0;
  return FileTimes{kept ? facts.stx_btime.tv_sec : 0, facts.stx_mtime.tv_sec};
#else
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0) return lastPosixError(path);
  return FileTimes{facts.st_birthtimespec.tv_sec, facts.st_mtimespec.tv_sec};
#endif
}

Outcome PosixFiles::remove(const std::string& path) { return removeTree(path); }

Outcome PosixFiles::createDirectories(const std::string& path) {
  if (path.empty()) return posixError(ENOENT, path);
  if (isDirectory(path)) return {};
  for (std::size_t end = 0; end != std::string::npos;) {
    end = path.find('/', end + 1);
    const std::string above = path.substr(0, end);
    if (!made(above)) return lastPosixError(above);
  }
  return {};
}

Result<std::string> PosixFiles::contents(const std::string& path) const {
  return readWholeFile(path);
}

Outcome PosixFiles::replaceContents(const std::string& path, std::string_view bytes) {
  return replaceWholeFile(path, bytes);
}

Outcome PosixFiles::flush(const std::string& folder) { return flushFileSystem(folder); }

Outcome PosixFiles::flushNames(const std::string& folder) {
  if (flushNamesOf(folder)) return {};
  return lastPosixError(folder);
}

// --- May it be deleted?
//
// The folder decides and not the item: who may write there may take away whatever is in it, unless
// the folder is shared, the item is fixed, or a volume lies over it.

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

bool PosixFiles::isDeletable(const std::string& path) const {
  const std::string folder = extensions::deletingLastPathComponent(path);
  struct stat item {};
  struct stat above {};
  if (folder.empty() || folder == path || !factsOf(path, item)) return false;
  if (stat(folder.c_str(), &above) != 0 || above.st_dev != item.st_dev) return false;
  return access(folder.c_str(), W_OK | X_OK) == 0 && !isOthersInSharedFolder(item, above) &&
         !isHeld(path, folder);
}

// --- Moving without replacing
//
// A plain rename() would replace a file, or an empty directory, that appeared between a look and
// the call. The kernel has a rename that refuses; some file systems do not know it (EINVAL there,
// ENOTSUP on Darwin). For these the new name is taken by something that fails when it exists: a
// file by its second link, after which the first is taken away; a directory by an empty directory,
// which a rename may replace as long as it is empty. Should the last step fail, the first is
// undone. What a crash leaves between the two is a file with two names or an empty directory:
// nothing is lost.

namespace {

int renameExclusively(const char* from, const char* to) {
#if defined(__APPLE__)
  return renamex_np(from, to, RENAME_EXCL);
#else
  return renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
#endif
}

// Keeps errno of what failed.
template <class Undo>
int undone(Undo undo) {
  const int code = errno;
  undo();
  errno = code;
  return -1;
}

int moveDirectory(const char* from, const char* to) {
  if (mkdir(to, S_IRWXU) != 0) return -1;
  if (rename(from, to) == 0) return 0;
  return undone([to] { rmdir(to); });
}

int moveFile(const char* from, const char* to) {
  if (linkat(AT_FDCWD, from, AT_FDCWD, to, 0) != 0) return -1;
  if (unlink(from) == 0) return 0;
  return undone([to] { unlink(to); });
}

Outcome failed(const std::string& from, const std::string& to) {
  return lastPosixError(errno == EEXIST ? to : from + " to " + to);
}

}  // namespace

Outcome moveInSteps(const std::string& from, const std::string& to) {
  struct stat facts {};
  if (lstat(from.c_str(), &facts) != 0) return lastPosixError(from);
  const int status = S_ISDIR(facts.st_mode) ? moveDirectory(from.c_str(), to.c_str())
                                            : moveFile(from.c_str(), to.c_str());
  if (status != 0) return failed(from, to);
  return {};
}

Outcome PosixFiles::move(const std::string& from, const std::string& to) {
  if (renameExclusively(from.c_str(), to.c_str()) == 0) return {};
  const bool unsupported = errno == EINVAL || errno == ENOSYS || errno == ENOTSUP;
  if (!unsupported) return failed(from, to);
  return moveInSteps(from, to);
}

// What is exchanged is there under both names at each moment, so that nothing need be undone.
Outcome PosixFiles::exchange(const std::string& one, const std::string& other) {
#if defined(__APPLE__)
  const int status = renamex_np(one.c_str(), other.c_str(), RENAME_SWAP);
#else
  const int status = renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE);
#endif
  if (status == 0) return {};
  if (errno == EINVAL || errno == ENOSYS) errno = ENOTSUP;
  return failed(one, other);
}

Outcome PosixFiles::removeEmpty(const std::string& directory) {
  if (rmdir(directory.c_str()) == 0) return {};
  return lastPosixError(directory);
}

// --- Locking

namespace {

// What root makes in a user's folder is to be the user's: only its owner can open it.
void giveToOwnerOfFolder(int descriptor, const std::string& path) {
  const auto slash = path.rfind('/');
  struct stat folder {};
  if (geteuid() != 0 || slash == std::string::npos) return;
  if (stat(path.substr(0, slash + 1).c_str(), &folder) != 0 || folder.st_uid == 0) return;
  static_cast<void>(fchown(descriptor, folder.st_uid, folder.st_gid) == 0);
}

// Only a file that did not exist is given away: another could be a link to one of somebody else's.
Descriptor openedForLocking(const std::string& path) {
  constexpr int kOpen = O_RDWR | O_NOFOLLOW | O_CLOEXEC;
  Descriptor made(open(path.c_str(), kOpen | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
  if (made) {
    giveToOwnerOfFolder(made.get(), path);
    return made;
  }
  if (errno != EEXIST) return made;
  return Descriptor(open(path.c_str(), kOpen | O_CREAT, S_IRUSR | S_IWUSR));
}

// Closing alone would leave the lock to a program that is just being started, until that has become
// what it is to be.
class LockedFile final : public FileLock {
 public:
  explicit LockedFile(Descriptor file) : file_(std::move(file)) {}
  ~LockedFile() override {
    if (isNoted_) note({});
    flock(file_.get(), LOCK_UN);
  }
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

  void note(std::string_view text) override {
    isNoted_ = true;
    if (ftruncate(file_.get(), 0) == 0)
      static_cast<void>(pwrite(file_.get(), text.data(), text.size(), 0) >= 0);
  }

 private:
  Descriptor file_;
  bool isNoted_ = false;
};

}  // namespace

Result<std::shared_ptr<FileLock>> PosixFiles::lock(const std::string& path) {
  Descriptor file(openedForLocking(path));
  if (!file || flock(file.get(), LOCK_EX | LOCK_NB) != 0) return lastPosixError(path);
  return std::shared_ptr<FileLock>(std::make_shared<LockedFile>(std::move(file)));
}

}  // namespace platform
