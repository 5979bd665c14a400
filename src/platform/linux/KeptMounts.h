#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/Result.h"
#include "platform/Volumes.h"
#include "platform/posix/FileDescriptor.h"

namespace platform {

// The public mounts, the visible one first where several cover one another. Read anew only when
// the kernel says that the table changed, or after a moment: it does not say that a directory above
// a mount point was renamed. Shows the mount namespace in which it first reads. Any thread.
class KeptMounts {
 public:
  using Mounts = std::shared_ptr<const std::vector<Mount>>;

  Result<Mounts> read() const;

 private:
  using Clock = std::chrono::steady_clock;

  bool isCurrent() const;

  mutable std::mutex mutex_;  // guards what follows
  mutable FileDescriptor changes_;
  mutable Mounts mounts_;
  mutable Clock::time_point readAt_;
};

}  // namespace platform
