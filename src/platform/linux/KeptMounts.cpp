#include "platform/linux/KeptMounts.h"

#include <fcntl.h>
#include <poll.h>

#include "leaf/DeviceNames.h"
#include "leaf/MountTable.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

constexpr char kMountTablePath[] = "/proc/self/mountinfo";
constexpr std::string_view kLoopDevice = "/dev/loop";
constexpr std::chrono::milliseconds kTrusted{20};

std::optional<std::string> nodeBehindLoop(std::string_view source) {
  const auto name = source.substr(std::string_view("/dev/").size());
  const auto backing = readWholeFile("/sys/block/" + std::string(name) + "/loop/backing_file");
  return backing ? nodeOfBackingFile(*backing) : std::nullopt;
}

// Loop devices abound where packages are mounted; only ours are of this type.
std::string shownSource(const MountLine& line) {
  if (line.type == "ext4" && line.source.starts_with(kLoopDevice)) {
    if (auto node = nodeBehindLoop(line.source)) return *node;
  }
  return withoutMountEscapes(line.source);
}

std::vector<Mount> publicMounts(std::string_view text) {
  std::vector<Mount> mounts;
  for (const MountLine& line : visibleFirst(parseMountTable(text))) {
    if (liesInDeviceFolder(line.mountedOn)) continue;
    mounts.push_back(
        {std::string(line.type), shownSource(line), withoutMountEscapes(line.mountedOn)});
  }
  return mounts;
}

}  // namespace

Result<KeptMounts::Mounts> KeptMounts::read() const {
  const std::lock_guard lock(mutex_);
  if (isCurrent()) return mounts_;
  if (!changes_) changes_ = FileDescriptor(open(kMountTablePath, O_RDONLY | O_CLOEXEC));
  if (!changes_) return lastPosixError(kMountTablePath);
  const auto text = readMountTable();
  if (!text) return lastPosixError(kMountTablePath);
  mounts_ = std::make_shared<const std::vector<Mount>>(publicMounts(*text));
  readAt_ = Clock::now();
  return mounts_;
}

bool KeptMounts::isCurrent() const {
  if (!changes_ || !mounts_) return false;
  pollfd change{changes_.get(), POLLPRI, 0};
  return poll(&change, 1, 0) == 0 && Clock::now() - readAt_ < kTrusted;
}

}  // namespace platform
