#include "platform/posix/Flushing.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

FileDescriptor openFolder(const std::string& folder) {
  return FileDescriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

bool flushAll(int folder) {
#if defined(__linux__)
  return syncfs(folder) == 0;
#else
  sync();  // hands all to the drives; the flush of one item then empties the drive's own cache
  return flushFile(folder) || errno == EINVAL || errno == ENOTSUP;
#endif
}

}  // namespace

bool flushFile(int descriptor) {
#if defined(__APPLE__)
  // fsync() there leaves the data in the drive's cache.
  if (fcntl(descriptor, F_FULLFSYNC) == 0) return true;
#endif
  return fsync(descriptor) == 0;
}

bool flushNamesOf(const std::string& folder) {
  const FileDescriptor opened = openFolder(folder);
  return opened && (flushFile(opened.get()) || errno == EINVAL || errno == ENOTSUP);
}

Outcome flushFileSystem(const std::string& folder) {
  const FileDescriptor opened = openFolder(folder);
  if (opened && flushAll(opened.get())) return {};
  return lastPosixError(folder);
}

}  // namespace platform
