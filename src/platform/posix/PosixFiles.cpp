#include "platform/posix/PosixFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/posix/DirectoryListing.h"
#include "platform/posix/ExclusiveMove.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/FileDescriptor.h"
#include "platform/posix/Flushing.h"
#include "platform/posix/PosixError.h"
#include "platform/posix/TreeRemoval.h"

namespace platform {
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

// What root makes in a user's folder is to be the user's: only its owner can open it.
void giveToOwnerOfFolder(int descriptor, const std::string& path) {
  const auto slash = path.rfind('/');
  struct stat folder {};
  if (geteuid() != 0 || slash == std::string::npos) return;
  if (stat(path.substr(0, slash + 1).c_str(), &folder) != 0 || folder.st_uid == 0) return;
  static_cast<void>(fchown(descriptor, folder.st_uid, folder.st_gid) == 0);
}

// Only a file that did not exist is given away: another could be a link to one of somebody else's.
FileDescriptor openedForLocking(const std::string& path) {
  constexpr int kOpen = O_RDWR | O_NOFOLLOW | O_CLOEXEC;
  FileDescriptor made(open(path.c_str(), kOpen | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
  if (made) {
    giveToOwnerOfFolder(made.get(), path);
    return made;
  }
  if (errno != EEXIST) return made;
  return FileDescriptor(open(path.c_str(), kOpen | O_CREAT, S_IRUSR | S_IWUSR));
}

// Closing alone would leave the lock to a program that is just being started, until that has become
// what it is to be.
class LockedFile {
 public:
  explicit LockedFile(FileDescriptor file) : file_(std::move(file)) {}
  ~LockedFile() { flock(file_.get(), LOCK_UN); }
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

 private:
  FileDescriptor file_;
};

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
  const FileDescriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
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

Outcome PosixFiles::move(const std::string& from, const std::string& to) {
  return moveExclusively(from, to);
}

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

Result<std::shared_ptr<void>> PosixFiles::lock(const std::string& path) {
  FileDescriptor file(openedForLocking(path));
  if (!file || flock(file.get(), LOCK_EX | LOCK_NB) != 0) return lastPosixError(path);
  return std::shared_ptr<void>(std::make_shared<LockedFile>(std::move(file)));
}

Outcome PosixFiles::flush(const std::string& folder) { return flushFileSystem(folder); }

Outcome PosixFiles::flushNames(const std::string& folder) {
  if (flushNamesOf(folder)) return {};
  return lastPosixError(folder);
}

}  // namespace platform
