#include "system/StreamFile.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

namespace {

constexpr off_t kChunkBytes = 1 << 20;

// Out of the way of the three standard descriptors, which the tool's own are made over.
Descriptor aboveStandardDescriptors(Descriptor file) {
  if (!file || file.get() > STDERR_FILENO) return file;
  return Descriptor(fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace

// Several writers, and one that truncates what it reopened, must not leave gaps: all append.
StreamFile StreamFile::over(Descriptor file) {
  StreamFile stream;
  stream.file_ = aboveStandardDescriptors(std::move(file));
  if (stream) fcntl(stream.descriptor(), F_SETFL, O_APPEND);
  return stream;
}

// Not every system of this family has files in memory, so the call is looked up when it is needed.
// Shared memory objects will not do in its place: some systems refuse write() to them, others hold
// them to a small total.
StreamFile StreamFile::inMemory() {
  using MakeFile = int (*)(const char*, unsigned);
  constexpr unsigned kCloseOnExec = 1;
  static const auto make = reinterpret_cast<MakeFile>(dlsym(RTLD_DEFAULT, "memfd_create"));
  if (make) return over(Descriptor(make("tool-output", kCloseOnExec)));
  errno = ENOSYS;
  return {};
}

StreamFile StreamFile::inTemporaryFolder() {
  std::error_code error;
  std::string path = (std::filesystem::temp_directory_path(error) / "tool-output-XXXXXX").string();
  if (error) {
    errno = error.value();
    return {};
  }
  Descriptor file(mkostemp(path.data(), O_CLOEXEC));
  if (file) unlink(path.c_str());
  return over(std::move(file));
}

StreamFile StreamFile::make() {
  StreamFile stream = inMemory();
  return stream ? std::move(stream) : inTemporaryFolder();
}

void StreamFile::seal() {
  struct stat status {};
  end_ = fstat(file_.get(), &status) == 0 ? status.st_size : 0;
}

std::string StreamFile::nextChunk() {
  std::string chunk(static_cast<std::size_t>(std::min(kChunkBytes, end_ - position_)), '\0');
  ssize_t got = 0;
  do {
    got = pread(file_.get(), chunk.data(), chunk.size(), position_);
  } while (got < 0 && errno == EINTR);
  chunk.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  position_ += static_cast<off_t>(chunk.size());
  return chunk;
}
