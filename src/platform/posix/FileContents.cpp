#include "platform/posix/FileContents.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/Flushing.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

constexpr std::size_t kBlock = 64U << 10U;
constexpr mode_t kModeBits = 07777;
constexpr int kMostLinks = 40;  // as many as the kernel follows

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
  FileDescriptor descriptor_;
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
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
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
