#include <algorithm>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDisk.h"
#include "system/QVFinderTools.h"

// What a look at the system shows of a disk.

namespace {

using platform::FileKind;
using platform::services;

std::string described(const QVRamDiskDevice::Infos& infos) {
  std::string text = "{";
  for (const auto& [key, value] : infos) text += fmt::format("{} = {}; ", key, value);
  return text + "}";
}

// The mount point that a volume's own record leads to, as long as the record names this disk.
// nullopt with `stale` set when the path it was read from leads nowhere any more.
std::optional<std::string> ownMountPoint(const std::string& path,
                                         const std::optional<std::string>& identifier,
                                         bool& stale) {
  QVRamDiskDevice::Infos infos;
  stale = !QVRamDiskDevice::getExtentedRamDiskInfos(infos, path);
  if (stale) {
    QVLogError("QVRamDisk", "getExtentedRamDiskInfos==NO");
    return std::nullopt;
  }
  const auto owner = infos.find("identifier");
  const auto node = infos.find("deviceNode");
  if (!identifier || owner == infos.end() || owner->second != *identifier) return std::nullopt;
  if (node == infos.end()) return std::nullopt;
  QVErrorPtr error;
  auto mountPoint = QVRamDiskDevice::mountPointFromDeviceNode(node->second, error);
  stale = !mountPoint;
  if (stale)
    QVLogError("QVRamDisk", "mountPoint==nil infos:{} error:{}", described(infos),
               QVDescription(error));
  return mountPoint;
}

QVComparableValues volumeValues(const std::string& mountPoint) {
  const auto attributes = services().volumes->attributes(mountPoint);
  if (!attributes)
    QVLogError("QVRamDisk", "attributes==nil mountPoint:{} error:{}", mountPoint,
               QVDescription(attributes.error()));
  const auto values = attributes.value().value_or(platform::FileSystemAttributes{});
  return {extensions::lastPathComponent(mountPoint), values.size, values.free};
}

bool isHidden(const std::string& name) {
  return QVFinderTools::isSystemFileNameInFolder(name, 0) ||
         QVFinderTools::isVolumeHiddenFilename(name);
}

}  // namespace

// What a look at the system shows of this disk.
struct QVRamDisk::Observed {
  QVRamDiskStatus status = QVRamDiskStatus_notCreated;
  std::optional<QVComparableValues> values;  // of the volume, where it was looked at
};

QVRamDisk::Observed QVRamDisk::observeMounted(const std::string& path) {
  bool stale = false;
  const auto mountPoint = ownMountPoint(path, identifier_, stale);
  if (stale) setPath(std::nullopt);
  if (!mountPoint) return {};
  return {QVRamDiskStatus_mounted, volumeValues(*mountPoint)};
}

// A record without a path counts as not created even while its device exists.
QVRamDisk::Observed QVRamDisk::observeUnmounted() {
  const auto node = deviceNode();
  if (!node || !path()) return {};
  QVErrorPtr error;
  const auto devices = QVRamDiskDevice::deviceList(false, error);
  if (!devices) return {};
  const auto device = std::find_if(devices->begin(), devices->end(),
                                   [&](const auto& entry) { return entry.devNode == *node; });
  if (device == devices->end()) return {};
  if (!device->mountPoint || !services().files->exists(*device->mountPoint))
    return {QVRamDiskStatus_created, {}};
  bool stale = false;
  const auto mountPoint = ownMountPoint(*device->mountPoint, identifier_, stale);
  if (stale) setPath(std::nullopt);
  if (!mountPoint) return {};
  setPath(*mountPoint);
  return {QVRamDiskStatus_mounted, {}};
}

bool QVRamDisk::showsOwnVolume() const {
  const auto path = this->path();
  QVRamDiskDevice::Infos infos;
  if (!path || !services().files->exists(*path) ||
      QVRamDiskDevice::hasMountedVolumeAtPath(path) != 1 ||
      !QVRamDiskDevice::getExtentedRamDiskInfos(infos, path))
    return false;
  const auto owner = infos.find("identifier");
  return identifier_ && owner != infos.end() && owner->second == *identifier_;
}

QVErrorPtr QVRamDisk::checkVolume() {
  const auto path = this->path();
  if (!path || showsOwnVolume()) return nullptr;
  update();
  return QVError::errorWithMessage(
      QVLocalizedFormat("The RamDisk %@ is no longer mounted at %@, so nothing was saved or "
                        "deleted. Create or mount it again first.",
                        {displayName().value_or(""), *path}),
      "volume", QVErrorCode::VolumeGone);
}

bool QVRamDisk::update() {
  const auto before = comparableValues();
  const auto path = this->path();
  const Observed now =
      path && services().files->exists(*path) ? observeMounted(*path) : observeUnmounted();
  const bool statusChanged = now.status != status();
  if (statusChanged) setStatus(now.status);
  if (!now.values || *now.values == before) return statusChanged;
  setName(now.values->name);
  setVolSize(now.values->size);
  setVolFree(now.values->sizeFree);
  return true;
}

double QVRamDisk::diskUsage() const {
  const auto size = static_cast<double>(volSize());
  if (size == 0) return 0.0;
  return (size - static_cast<double>(volFree())) / size;
}

std::int64_t QVRamDisk::hasContents() const {
  const auto path = this->path();
  if (action() != QVRamDiskActionNone || status() != QVRamDiskStatus_mounted || !path) return -1;
  const auto names = services().files->names(*path);
  if (!names) {
    QVLogError("QVRamDisk", "contents==nil path:{} error:{}", *path, QVDescription(names.error()));
    return -1;
  }
  return std::all_of(names->begin(), names->end(), isHidden) ? 0 : 1;
}
