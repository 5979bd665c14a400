#include "platform/posix/ExclusiveMove.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/posix/PosixError.h"

namespace platform {
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

Outcome moveExclusivelyInSteps(const std::string& from, const std::string& to) {
  struct stat facts {};
  if (lstat(from.c_str(), &facts) != 0) return lastPosixError(from);
  const int status = S_ISDIR(facts.st_mode) ? moveDirectory(from.c_str(), to.c_str())
                                            : moveFile(from.c_str(), to.c_str());
  if (status != 0) return failed(from, to);
  return {};
}

Outcome moveExclusively(const std::string& from, const std::string& to) {
  if (renameExclusively(from.c_str(), to.c_str()) == 0) return {};
  const bool unsupported = errno == EINVAL || errno == ENOSYS || errno == ENOTSUP;
  if (!unsupported) return failed(from, to);
  return moveExclusivelyInSteps(from, to);
}

}  // namespace platform
