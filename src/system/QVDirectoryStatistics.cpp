#include "system/QVDirectoryStatistics.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <new>
#include <string_view>

#include "core/QVLog.h"
#include "leaf/Descriptor.h"
#include "platform/Services.h"
#include "system/Errno.h"

namespace {

constexpr std::size_t kPathBytes = 1024;  // of a buffer, the terminator included

constexpr std::int32_t kNoPath = -1;
constexpr std::int32_t kCannotOpen = -2;
constexpr std::int32_t kNoMemory = -3;
constexpr std::int32_t kPathTooLong = -4;
constexpr std::int32_t kFileFound = 1;

// A walker's name as its log lines show it, and what it calls an entry's path there.
struct Wording {
  std::string_view function;
  std::string_view path;
};

constexpr Wording kStatistics = {"GetDirectoryStatistics", "entryPath"};
constexpr Wording kAtLeastFile = {"DirectoryContainsAtLeastFile", "path"};

// The path of one entry after another of a directory.
class EntryPath {
 public:
  // False when there is no memory for it.
  bool start(std::string_view directory) {
    directory_ = directory;
    separator_ = directory.ends_with('/') ? 0 : 1;
    try {
      buffer_ = std::make_unique_for_overwrite<char[]>(kPathBytes);
    } catch (const std::bad_alloc&) {
      return false;
    }
    if (directory.size() + separator_ >= kPathBytes) return true;  // no entry will fit
    directory.copy(buffer_.get(), directory.size());
    buffer_[directory.size()] = '/';
    return true;
  }

  std::size_t length(std::string_view name) const {
    return directory_.size() + separator_ + name.size();
  }

  // Only for an entry whose length is within the limit.
  std::string_view of(std::string_view name) {
    name.copy(buffer_.get() + directory_.size() + separator_, name.size());
    return {buffer_.get(), length(name)};
  }

 private:
  std::string_view directory_;
  std::size_t separator_ = 0;
  std::unique_ptr<char[]> buffer_;
};

bool isSelfOrParent(std::string_view name) { return name == "." || name == ".."; }

// One walk over a tree. Without counters it ends at the first regular file.
class Walk {
 public:
  Walk(const Wording& wording, QVDirectoryStatistics* counters)
      : wording_(wording), counters_(counters) {}

  std::int32_t root(const char* path) {
    return directory(AT_FDCWD, path, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }

 private:
  std::int32_t directory(int parent, const char* name, std::string_view path, int flags);
  std::int32_t entries(DIR* listing, std::string_view path);
  std::int32_t entry(const dirent& found, int listing, EntryPath& paths);
  std::int32_t subdirectory(int parent, const char* name, std::string_view path);
  std::int32_t regularFile(int parent, const char* name, std::string_view path);

  const Wording& wording_;
  QVDirectoryStatistics* counters_;
};

std::int32_t Walk::directory(int parent, const char* name, std::string_view path, int flags) {
  Descriptor opened(openat(parent, name, flags));
  DIR* listing = opened ? fdopendir(opened.get()) : nullptr;
  if (!listing) {
    const int code = errno;
    QVLogFunctionError(wording_.function, "dir==NULL dirPath:{} errno:{} ({})", path, code,
                       errnoText(code));
    return kCannotOpen;
  }
  opened.release();
  const std::int32_t result = entries(listing, path);
  if (closedir(listing) != 0) {
    QVLogFunctionError(wording_.function, "closeDir!=0 dirPath:{} errno:{}", path, errno);
  }
  return result;
}

std::int32_t Walk::entries(DIR* listing, std::string_view path) {
  EntryPath paths;
  if (!paths.start(path)) return kNoMemory;
  while (const dirent* found = readdir(listing)) {
    if (const std::int32_t end = entry(*found, dirfd(listing), paths)) return end;
  }
  return 0;
}

// A result other than 0 ends the walk.
std::int32_t Walk::entry(const dirent& found, int listing, EntryPath& paths) {
  const std::string_view name = found.d_name;
  if (name.empty() || isSelfOrParent(name)) return 0;
  const std::size_t length = paths.length(name);
  if (length >= kPathBytes - 1) {
    QVLogFunctionError(wording_.function, "entryPathL>=MAXPATHLEN entryPathL:{}", length);
    return kPathTooLong;
  }
  switch (found.d_type) {
    case DT_DIR:
      return subdirectory(listing, found.d_name, paths.of(name));
    case DT_REG:
      return regularFile(listing, found.d_name, paths.of(name));
    case DT_LNK:
      if (counters_) ++counters_->symlinkCount;
      break;
    default:
      break;
  }
  return 0;
}

// A part of the tree that cannot be walked is passed over.
std::int32_t Walk::subdirectory(int parent, const char* name, std::string_view path) {
  if (counters_) ++counters_->directoryCount;
  const std::int32_t result =
      directory(parent, name, path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (result == 0 || result == kFileFound) return result;
  QVLogFunctionError(wording_.function, "{}:{} {}:{}", wording_.function, result, wording_.path,
                     path);
  return result == kPathTooLong ? result : 0;
}

std::int32_t Walk::regularFile(int parent, const char* name, std::string_view path) {
  if (!counters_) return kFileFound;
  ++counters_->fileCount;
  struct stat status {};
  if (fstatat(parent, name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
    counters_->totalSize += static_cast<std::uint64_t>(status.st_size);
    return 0;
  }
  const int code = errno;
  QVLogFunctionError(wording_.function, "stat==-1 entryPath:{} errno:{} ({})", path, code,
                     errnoText(code));
  return 0;
}

std::int32_t walk(const Wording& wording, const char* path, QVDirectoryStatistics* counters) {
  if (path && *path != '\0') return Walk(wording, counters).root(path);
  QVLogFunctionError(wording.function, "dirPathL==0 dirPath:{}", path ? path : QVNilText);
  return kNoPath;
}

}  // namespace

std::int32_t GetDirectoryStatistics(const char* path, QVDirectoryStatistics* statistics) {
  return walk(kStatistics, path, statistics);
}

std::int32_t DirectoryContainsAtLeastFile(const char* path) {
  return walk(kAtLeastFile, path, nullptr);
}

bool QVGetDirectoryStatistics(QVDirectoryStatistics* statistics, std::int64_t /*reserved*/,
                              const std::optional<std::string>& path) {
  if (!path || *path == "/" || *path == platform::services().places->volumesDirectory()) {
    return false;
  }
  return GetDirectoryStatistics(path->c_str(), statistics) == 0;
}
