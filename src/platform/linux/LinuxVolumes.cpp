#include "platform/linux/LinuxVolumes.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include "platform/linux/ExtendedAttributes.h"
#include "platform/linux/MountTable.h"
#include "platform/linux/RemoteFileSystem.h"
#include "platform/linux/VolumeIdentifier.h"
#include "platform/posix/FileContents.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

constexpr std::string_view kPrivateMounts = "/run/tarnvale";
constexpr std::string_view kLoopDevice = "/dev/loop";

bool isPrivate(std::string_view path) {
  return path.starts_with(kPrivateMounts) &&
         (path.size() == kPrivateMounts.size() || path[kPrivateMounts.size()] == '/');
}

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

template <class Visit>
Failure visitMounts(Visit visit) {
  const auto text = readMountTable();
  if (!text) return text.error();
  for (const MountLine& line : parseMountTable(*text)) {
    if (!isPrivate(line.mountedOn) && !visit(line)) break;
  }
  return std::nullopt;
}

Result<struct stat> statOf(const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) return lastPosixError(path);
  return info;
}

}  // namespace

Result<std::size_t> LinuxVolumes::mountCount() const {
  std::size_t count = 0;
  const auto failure = visitMounts([&](const MountLine&) { return ++count > 0; });
  if (failure) return *failure;
  return count;
}

Result<std::vector<Mount>> LinuxVolumes::mounts(std::size_t most) const {
  std::vector<Mount> found;
  const auto failure = visitMounts([&](const MountLine& line) {
    if (found.size() == most) return false;
    found.push_back(
        {std::string(line.type), shownSource(line), withoutMountEscapes(line.mountedOn)});
    return true;
  });
  if (failure) return *failure;
  return found;
}

Result<FileSystemAttributes> LinuxVolumes::attributes(const std::string& path) const {
  struct statvfs info {};
  if (statvfs(path.c_str(), &info) != 0) return lastPosixError(path);
  return FileSystemAttributes{info.f_blocks * info.f_frsize, info.f_bavail * info.f_frsize};
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

Failure LinuxVolumes::setAttribute(const std::string& path, const std::string& name,
                                   const std::string& value) {
  return setUserAttribute(path, name, value);
}

Failure LinuxVolumes::removeAttribute(const std::string& path, const std::string& name) {
  return removeUserAttribute(path, name);
}

Result<std::string> LinuxVolumes::attribute(const std::string& path,
                                            const std::string& name) const {
  return userAttribute(path, name);
}

Result<std::vector<std::string>> LinuxVolumes::attributeNames(const std::string& path) const {
  return allAttributeNames(path);
}

}  // namespace platform
