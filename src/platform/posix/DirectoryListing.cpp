#include "platform/posix/DirectoryListing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

struct Closer {
  void operator()(DIR* stream) const { closedir(stream); }
};
using Stream = std::unique_ptr<DIR, Closer>;

Stream streamOf(int directory) {
  FileDescriptor copy(fcntl(directory, F_DUPFD_CLOEXEC, 0));
  Stream stream(copy ? fdopendir(copy.get()) : nullptr);
  if (stream) copy.release();
  return stream;
}

// Not every file system tells the type in the listing.
bool isDirectory(int directory, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat facts {};
  return fstatat(directory, entry.d_name, &facts, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISDIR(facts.st_mode);
}

// readdir() tells its end and a failure apart by errno alone.
const dirent* nextEntry(DIR* stream) {
  errno = 0;
  return readdir(stream);  // NOLINT(concurrency-mt-unsafe): the stream is this call's own
}

}  // namespace

Result<std::vector<DirectoryEntry>> listDirectory(int directory, std::string_view path) {
  const Stream stream = streamOf(directory);
  if (!stream) return lastPosixError(path);
  std::vector<DirectoryEntry> entries;
  while (const dirent* entry = nextEntry(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..")
      entries.push_back({std::string(name), isDirectory(directory, *entry)});
  }
  if (errno != 0) return lastPosixError(path);
  return entries;
}

}  // namespace platform
