#include "platform/linux/LinuxVolumes.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>

#include "platform/linux/ExtendedAttributes.h"
#include "platform/linux/RemoteFileSystem.h"
#include "platform/linux/VolumeIdentifier.h"
#include "platform/linux/VolumeUse.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

Result<struct stat> statOf(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return lastPosixError(path);
  return info;
}

}  // namespace

Result<std::size_t> LinuxVolumes::mountCount() const {
  const auto all = kept_.read();
  if (!all) return all.error();
  return (*all)->size();
}

Result<std::vector<Mount>> LinuxVolumes::mounts(std::size_t most) const {
  const auto all = kept_.read();
  if (!all) return all.error();
  const auto count = std::min(most, (*all)->size());
  return std::vector<Mount>((*all)->begin(), (*all)->begin() + static_cast<std::ptrdiff_t>(count));
}

Result<FileSystemAttributes> LinuxVolumes::attributes(const std::string& path) const {
  struct statvfs info {};
  if (statvfs(path.c_str(), &info) != 0) return lastPosixError(path);
  return FileSystemAttributes{info.f_blocks * info.f_frsize, info.f_bavail * info.f_frsize,
                              (info.f_flag & ST_RDONLY) != 0};
}

Result<std::uint64_t> LinuxVolumes::fileSystemNumber(const std::string& path) const {
  const auto info = statOf(path);
  if (!info) return info.error();
  return std::uint64_t{info->st_dev};
}

Result<std::int32_t> LinuxVolumes::deviceNumber(const std::string& path) const {
  const auto info = statOf(path);
  if (!info) return info.error();
  return static_cast<std::int32_t>(info->st_dev);
}

Result<bool> LinuxVolumes::isLocal(const std::string& path) const {
  const auto remote = isRemoteFileSystem(path);
  if (!remote) return remote.error();
  return !*remote;
}

std::optional<std::string> LinuxVolumes::volumeIdentifier(std::int32_t deviceNumber) const {
  return identifierOfDevice(deviceNumber, "/dev/disk/by-uuid");
}

Outcome LinuxVolumes::setAttribute(const std::string& path, const std::string& name,
                                   const std::string& value) {
  return setUserAttribute(path, name, value);
}

Outcome LinuxVolumes::removeAttribute(const std::string& path, const std::string& name) {
  return removeUserAttribute(path, name);
}

Result<std::string> LinuxVolumes::attribute(const std::string& path,
                                            const std::string& name) const {
  return userAttribute(path, name);
}

Result<std::vector<std::string>> LinuxVolumes::attributeNames(const std::string& path) const {
  return allAttributeNames(path);
}

VolumeUse LinuxVolumes::use(const std::string& mountPoint) const { return volumeUse(mountPoint); }

}  // namespace platform
