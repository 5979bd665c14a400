#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "leaf/Descriptor.h"
#include "platform/Volumes.h"

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
  mutable Descriptor changes_;
  mutable Mounts mounts_;
  mutable Clock::time_point readAt_;
};

// Whether a file system is kept on another machine, by what identifies it: the number that
// statfs(2) gives for its type, and the type's name in the mount table, which alone tells file
// systems of user programs apart.
bool isRemoteType(std::uint64_t magic, std::string_view name);

// Our own volumes carry their device node as the source of the mount, or lie on a loop device over
// memory whose name tells the node. The disk tools' private mounts are not shown.
//
// The mount table never waits for a device. The kernel has no attributes of a file system without
// asking it, so those of a server that does not answer are waited for.
class LinuxVolumes : public Volumes {
 public:
  Result<std::size_t> mountCount() const override;
  Result<std::vector<Mount>> mounts(std::size_t most) const override;
  Result<FileSystemAttributes> attributes(const std::string& path) const override;
  Result<std::uint64_t> fileSystemNumber(const std::string& path) const override;
  Result<std::int32_t> deviceNumber(const std::string& path) const override;
  Result<bool> isLocal(const std::string& path) const override;
  std::optional<std::string> volumeIdentifier(std::int32_t deviceNumber) const override;

  std::optional<std::uint64_t> mostEntries(std::uint64_t bytes) const override;
  VolumeUse use(const std::string& mountPoint) const override;
  VolumeUse useBelow(const std::string& directory) const override;

  // Attributes are kept with the prefix "user.", the only ones that a user may set.
  Outcome setAttribute(const std::string& path, const std::string& name,
                       const std::string& value) override;
  Outcome removeAttribute(const std::string& path, const std::string& name) override;
  Result<std::string> attribute(const std::string& path, const std::string& name) const override;
  Result<std::vector<std::string>> attributeNames(const std::string& path) const override;

 private:
  KeptMounts kept_;
};

}  // namespace platform
