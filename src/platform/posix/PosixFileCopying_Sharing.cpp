#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/ioctl.h>
#else
#include <sys/clonefile.h>
#endif

#include <cerrno>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixFileCopying.h"

namespace platform {

#if defined(__linux__)

namespace {

constexpr unsigned long kShareBlocks = _IOW(0x94, 9, int);  // FICLONE of linux/fs.h
constexpr int kMakeFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;

// What a file system answers that does not know how, and what is answered for two of them. Other
// refusals concern the one file.
bool neverShares(int code) { return code == EOPNOTSUPP || code == ENOTTY || code == EXDEV; }

}  // namespace

int PosixFileCopying::shareContents(int from, int toDirectory, const char* toName) const {
  const int made = openat(toDirectory, toName, kMakeFile, S_IRUSR | S_IWUSR);
  if (made < 0 || ioctl(made, kShareBlocks, from) == 0) return made;
  const int code = errno;
  close(made);
  unlinkat(toDirectory, toName, 0);
  errno = neverShares(code) ? ENOTSUP : code;
  return -1;
}

#else

// The clone has the mode of its original at once.
int PosixFileCopying::shareContents(int from, int toDirectory, const char* toName) const {
  if (fclonefileat(from, toDirectory, toName, CLONE_NOOWNERCOPY) != 0) {
    if (errno == EXDEV) errno = ENOTSUP;
    return -1;
  }
  const int made = openat(toDirectory, toName, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (made >= 0) return made;
  const int code = errno;
  unlinkat(toDirectory, toName, 0);
  errno = code;
  return -1;
}

#endif

}  // namespace platform
