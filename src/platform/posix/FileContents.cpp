#include "platform/posix/FileContents.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

#include "leaf/Descriptor.h"
#include "platform/posix/PosixError.h"

namespace platform {

// --- Flushing

namespace {

Descriptor openFolder(const std::string& folder) {
  return Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
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
  const Descriptor opened = openFolder(folder);
  return opened && (flushFile(opened.get()) || errno == EINVAL || errno == ENOTSUP);
}

Outcome flushFileSystem(const std::string& folder) {
  const Descriptor opened = openFolder(folder);
  if (opened && flushAll(opened.get())) return {};
  return lastPosixError(folder);
}

// --- Listing

namespace {

struct Closer {
  void operator()(DIR* stream) const { closedir(stream); }
};
using Stream = std::unique_ptr<DIR, Closer>;

Stream streamOf(int directory) {
  Descriptor copy(fcntl(directory, F_DUPFD_CLOEXEC, 0));
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

// --- Reading and writing

namespace {

constexpr std::size_t kBlock = 64U << 10U;
constexpr mode_t kModeBits = 07777;
constexpr int kMostLinks = 40;  // as many as the kernel follows

}  // namespace

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

Result<std::string> readWholeFile(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return lastPosixError(path);
  std::string contents;
  std::size_t length = 0;
  for (;;) {
    if (contents.size() - length < kBlock) contents.resize(contents.size() * 2 + kBlock);
    const ssize_t got = read(file.get(), contents.data() + length, contents.size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return lastPosixError(path);
    if (got == 0) break;
    length += static_cast<std::size_t>(got);
  }
  contents.resize(length);
  return contents;
}

// --- Replacing
//
// Whoever reads the file meanwhile, and whoever finds it after a crash, gets all of the one or all
// of the other. The new contents are written into a file beside, on the same file system, whose
// bytes are on the device before the rename makes it the file, and the rename is on the device
// before the call returns. A link is followed first, since a rename would replace the link itself.

namespace {

std::string folderOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::optional<std::string> linkTarget(const std::string& path) {
  std::string target(4096, '\0');
  const ssize_t length = readlink(path.c_str(), target.data(), target.size());
  if (length < 0) return std::nullopt;
  target.resize(static_cast<std::size_t>(length));
  return target.starts_with('/') ? target : folderOf(path) + "/" + target;
}

// Where a link leads in the end, whether or not something is there.
Result<std::string> endOfLinks(const std::string& path) {
  std::string end = path;
  for (int i = 0; i < kMostLinks; ++i) {
    auto next = linkTarget(end);
    if (!next) return end;
    end = std::move(*next);
  }
  return posixError(ELOOP, path);
}

// A file beside the one to replace, gone with this object unless it was put in its place.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& folder)
      : name_(folder + "/.tarnvale-XXXXXX"), descriptor_(mkostemp(name_.data(), O_CLOEXEC)) {}
  ~TemporaryFile() {
    if (descriptor_) unlink(name_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int get() const { return descriptor_.get(); }
  explicit operator bool() const { return static_cast<bool>(descriptor_); }

  bool putAt(const std::string& path) {
    if (rename(name_.c_str(), path.c_str()) != 0) return false;
    descriptor_.reset();
    return true;
  }

 private:
  std::string name_;
  Descriptor descriptor_;
};

// The owner first: changing it clears mode bits.
bool takeOver(int descriptor, const struct stat& former) {
  struct stat own {};
  if (fstat(descriptor, &own) != 0) return false;
  if (own.st_uid != former.st_uid || own.st_gid != former.st_gid)
    static_cast<void>(fchown(descriptor, former.st_uid, former.st_gid) == 0);
  return fchmod(descriptor, former.st_mode & kModeBits) == 0;
}

}  // namespace

Outcome replaceWholeFile(const std::string& path, std::string_view bytes) {
  const auto place = endOfLinks(path);
  if (!place) return place.error();
  struct stat former {};
  const bool exists = stat(place->c_str(), &former) == 0;
  if (exists && !S_ISREG(former.st_mode))
    return posixError(S_ISDIR(former.st_mode) ? EISDIR : EINVAL, path);
  TemporaryFile beside(folderOf(*place));
  if (!beside || !writeAll(beside.get(), bytes)) return lastPosixError(path);
  if (exists && !takeOver(beside.get(), former)) return lastPosixError(path);
  if (!flushFile(beside.get()) || !beside.putAt(*place)) return lastPosixError(path);
  if (!flushNamesOf(folderOf(*place))) return lastPosixError(path);
  return {};
}

}  // namespace platform
