// Both walkers go down by descriptors, from each folder to the next by its name, so that neither
// the length of a path nor its depth has a limit: what may not be measured could not be kept in a
// disk. A folder is listed to its end before any below it is opened; of what is listed only the
// folders' names are kept. Of the folders on the way down the deepest stay open. One further up
// that has more folders to go into is opened anew, from the root.

#include "system/QVDirectoryStatistics.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <string_view>
#include <utility>

#include "core/QVLog.h"
#include "leaf/Descriptor.h"
#include "platform/Services.h"
#include "system/Errno.h"

namespace {

constexpr std::size_t kMostOpen = 64;

constexpr std::int32_t kNoPath = -1;
constexpr std::int32_t kCannotOpen = -2;
constexpr std::int32_t kNoMemory = -3;
constexpr std::int32_t kFileFound = 1;

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

// A walker's name as its log lines show it, and what it calls an entry's path there.
struct Wording {
  std::string_view function;
  std::string_view path;
};

constexpr Wording kStatistics = {"GetDirectoryStatistics", "entryPath"};
constexpr Wording kAtLeastFile = {"DirectoryContainsAtLeastFile", "path"};

// A folder on the way from the root to where the walk is.
struct Level {
  std::string name;
  Descriptor folder{};                    // none while it is closed
  std::vector<std::string> subfolders{};  // that are still to be walked, the next one last
};

void append(std::string& path, const std::string& name) {
  if (!path.empty() && !path.ends_with('/')) path += '/';
  path += name;
}

bool isSelfOrParent(std::string_view name) { return name == "." || name == ".."; }

// One walk over a tree. Without counters it ends at the first regular file.
class Walk {
 public:
  Walk(const Wording& wording, QVDirectoryStatistics* counters)
      : wording_(wording), counters_(counters) {}

  std::int32_t run(const std::string& root);

 private:
  std::int32_t enter(int parent, const std::string& name, int flags);
  std::int32_t list(Level& level);
  std::int32_t entry(const dirent& found, Level& level);
  std::int32_t regularFile(const char* name, const Level& level);
  int openDeepest();
  void add(Level level);
  std::string path(const std::string& name) const;
  std::int32_t cannotOpen(const std::string& path) const;

  const Wording& wording_;
  QVDirectoryStatistics* counters_;
  std::vector<Level> levels_;  // the root first
};

// A part of the tree that cannot be walked is passed over.
std::int32_t Walk::run(const std::string& root) {
  std::int32_t result = enter(AT_FDCWD, root, kFolder);
  while (result != kFileFound && !levels_.empty()) {
    auto& subfolders = levels_.back().subfolders;
    if (subfolders.empty()) {
      levels_.pop_back();
      continue;
    }
    const std::string name = std::move(subfolders.back());
    subfolders.pop_back();
    const auto below = enter(openDeepest(), name, kFolder | O_NOFOLLOW);
    if (below == kFileFound) result = below;
    if (below < 0)
      QVLogFunctionError(wording_.function, "{}:{} {}:{}", wording_.function, below, wording_.path,
                         path(name));
  }
  return result;
}

std::int32_t Walk::enter(int parent, const std::string& name, int flags) {
  Level level{name, Descriptor(openat(parent, name.c_str(), flags))};
  if (!level.folder) return cannotOpen(path(name));
  const auto result = list(level);
  std::reverse(level.subfolders.begin(), level.subfolders.end());
  if (result == 0) add(std::move(level));
  return result;
}

std::int32_t Walk::list(Level& level) {
  Descriptor own(fcntl(level.folder.get(), F_DUPFD_CLOEXEC, 0));
  DIR* listing = own ? fdopendir(own.get()) : nullptr;
  if (!listing) return cannotOpen(path(level.name));
  own.release();
  std::int32_t result = 0;
  while (const dirent* found = result == 0 ? readdir(listing) : nullptr)
    result = entry(*found, level);
  if (closedir(listing) != 0)
    QVLogFunctionError(wording_.function, "closeDir!=0 dirPath:{} errno:{}", path(level.name),
                       errno);
  return result;
}

// A result other than 0 ends the walk.
std::int32_t Walk::entry(const dirent& found, Level& level) {
  const std::string_view name = found.d_name;
  if (name.empty() || isSelfOrParent(name)) return 0;
  switch (found.d_type) {
    case DT_DIR:
      if (counters_) ++counters_->directoryCount;
      level.subfolders.emplace_back(name);
      return 0;
    case DT_REG:
      return regularFile(found.d_name, level);
    case DT_LNK:
      if (counters_) ++counters_->symlinkCount;
      return 0;
    default:
      return 0;
  }
}

std::int32_t Walk::regularFile(const char* name, const Level& level) {
  if (!counters_) return kFileFound;
  ++counters_->fileCount;
  struct stat status {};
  if (fstatat(level.folder.get(), name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
    counters_->totalSize += static_cast<std::uint64_t>(status.st_size);
    return 0;
  }
  const int code = errno;
  std::string whole = path(level.name);
  append(whole, name);
  QVLogFunctionError(wording_.function, "stat==-1 entryPath:{} errno:{} ({})", whole, code,
                     errnoText(code));
  return 0;
}

// The folder where the walk is, -1 with errno set when it is there no more.
int Walk::openDeepest() {
  Level& deepest = levels_.back();
  for (std::size_t i = 0; !deepest.folder && i < levels_.size(); ++i) {
    const int above = i == 0 ? AT_FDCWD : deepest.folder.get();
    Descriptor next(
        openat(above, levels_[i].name.c_str(), i == 0 ? kFolder : kFolder | O_NOFOLLOW));
    if (!next) return -1;
    deepest.folder = std::move(next);
  }
  return deepest.folder.get();
}

void Walk::add(Level level) {
  levels_.push_back(std::move(level));
  if (levels_.size() > kMostOpen) levels_[levels_.size() - 1 - kMostOpen].folder = {};
}

// Of an entry of the folder where the walk is; before it began, of the root.
std::string Walk::path(const std::string& name) const {
  std::string whole;
  for (const auto& level : levels_) append(whole, level.name);
  append(whole, name);
  return whole;
}

std::int32_t Walk::cannotOpen(const std::string& path) const {
  const int code = errno;
  QVLogFunctionError(wording_.function, "dir==NULL dirPath:{} errno:{} ({})", path, code,
                     errnoText(code));
  return kCannotOpen;
}

std::int32_t walk(const Wording& wording, const char* path, QVDirectoryStatistics* counters) {
  if (path && *path != '\0') {
    try {
      return Walk(wording, counters).run(path);
    } catch (const std::bad_alloc&) {
      return kNoMemory;
    }
  }
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
