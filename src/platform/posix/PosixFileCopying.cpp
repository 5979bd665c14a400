#include "platform/posix/PosixFileCopying.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <string>

namespace platform {
namespace {

// O_NONBLOCK matters only where a pipe or a device took the place of a file meanwhile.
constexpr int kRead = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

#if defined(O_NOATIME)
// Only its owner may read a file without a trace.
int openQuietly(int directory, const char* name, int flags) {
  const int opened = openat(directory, name, flags | O_NOATIME);
  return opened < 0 && errno == EPERM ? openat(directory, name, flags) : opened;
}
#else
int openQuietly(int directory, const char* name, int flags) {
  return openat(directory, name, flags);
}
#endif

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

#if defined(__APPLE__)
// Systems before 13 have no call that takes the folder's descriptor.
int makePipeAt(int directory, const char* name) {
  if (__builtin_available(macOS 13.0, *)) return mkfifoat(directory, name, kOwnerOnly);
  std::array<char, PATH_MAX> folder{};
  if (directory == AT_FDCWD) return mkfifo(name, kOwnerOnly);
  if (fcntl(directory, F_GETPATH, folder.data()) != 0) return -1;
  return mkfifo((std::string(folder.data()) + "/" + name).c_str(), kOwnerOnly);
}
#else
int makePipeAt(int directory, const char* name) { return mkfifoat(directory, name, kOwnerOnly); }
#endif

}  // namespace

int PosixFileCopying::openFile(int directory, const char* name) const {
  return openQuietly(directory, name, kRead);
}

int PosixFileCopying::openFolder(int directory, const char* name) const {
  return openQuietly(directory, name, kRead | O_DIRECTORY);
}

std::array<timespec, 2> PosixFileCopying::times(const struct stat& facts) const {
#if defined(__APPLE__)
  return {facts.st_atimespec, facts.st_mtimespec};
#else
  return {facts.st_atim, facts.st_mtim};
#endif
}

timespec PosixFileCopying::changeTime(const struct stat& facts) const {
#if defined(__APPLE__)
  return facts.st_ctimespec;
#else
  return facts.st_ctim;
#endif
}

bool PosixFileCopying::makePipe(int directory, const char* name) const {
  return makePipeAt(directory, name) == 0;
}

}  // namespace platform
