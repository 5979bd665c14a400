#pragma once

#include "platform/Volumes.h"
#include "platform/linux/KeptMounts.h"

namespace platform {

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

  VolumeUse use(const std::string& mountPoint) const override;

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
