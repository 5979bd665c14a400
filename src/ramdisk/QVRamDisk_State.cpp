#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/ObservedState.h"
#include "ramdisk/QVRamDisk.h"
#include "system/QVFinderTools.h"

// What a look at the system shows of a disk, and how it gets into other records of the same disk.
//
// The mount table is the one witness of where a volume is, and the record on the volume's root the
// one of whose it is. A record's own path and device node are only where to look: paths show the
// user's own directory once the volume is gone, and nodes are given out again.

namespace {

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
  const auto node = QVRamDiskDevice::deviceNodeIn(infos);
  if (!node || !QVRamDiskDevice::belongsTo(identifier, infos)) return std::nullopt;
  QVErrorPtr error;
  auto mountPoint = QVRamDiskDevice::mountPointFromDeviceNode(node, error);
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

// Records of the oldest registries may have no identifier.
bool areOfOneDisk(const QVRamDisk& a, const QVRamDisk& b) {
  if (&a == &b) return true;
  return a.identifier() == b.identifier() && (a.identifier() || a.name() == b.name());
}

bool hasDevice(const DiskObservation& seen) {
  return seen.deviceNode && seen.status != QVRamDiskStatus_notCreated;
}

void claimDevice(const std::vector<QVRamDiskPtr>& records, const QVRamDisk& owner,
                 const std::string& node) {
  for (const auto& record : records)
    if (!areOfOneDisk(*record, owner) && record->deviceNode() == node)
      record->setDeviceNode(std::nullopt);
}

bool isHidden(const std::string& name) {
  return QVFinderTools::isSystemFileNameInFolder(name, 0) ||
         QVFinderTools::isVolumeHiddenFilename(name);
}

}  // namespace

// What a look at the system shows of this disk.
struct QVRamDisk::Sight {
  QVRamDiskStatus status = QVRamDiskStatus_notCreated;
  std::optional<QVComparableValues> values;  // of the volume, where it was looked at
};

QVRamDisk::Sight QVRamDisk::lookAtMounted(const std::string& path) {
  bool stale = false;
  const auto mountPoint = ownMountPoint(path, identifier_, stale);
  if (stale) setPath(std::nullopt);
  if (!mountPoint) return {};
  return {QVRamDiskStatus_mounted, volumeValues(*mountPoint)};
}

// A record without a path counts as not created even while its device exists.
QVRamDisk::Sight QVRamDisk::lookAtUnmounted() {
  const auto seen = observed();
  if (!seen.deviceNode || !seen.path) return {};
  QVErrorPtr error;
  const auto devices = QVRamDiskDevice::deviceList(false, error);
  if (!devices) return {};
  const auto device = std::find_if(devices->begin(), devices->end(), [&](const auto& entry) {
    return entry.devNode == *seen.deviceNode;
  });
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
  return path && services().files->exists(*path) &&
         QVRamDiskDevice::hasMountedVolumeAtPath(path) == 1 &&
         QVRamDiskDevice::isVolumeOf(identifier_, path);
}

// Looked at by its path once it is open: a path that showed another folder when it was opened does
// not lead to the open one now.
Descriptor QVRamDisk::openVolume() const {
  const std::string path = this->path().value_or("");
  Descriptor root(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!root) return root;
  struct stat opened {};
  struct stat shown {};
  if (showsOwnVolume() && fstat(root.get(), &opened) == 0 && stat(path.c_str(), &shown) == 0 &&
      opened.st_dev == shown.st_dev && opened.st_ino == shown.st_ino)
    return root;
  errno = ENODEV;
  return {};
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
  const auto path = this->path();
  const Sight now =
      path && services().files->exists(*path) ? lookAtMounted(*path) : lookAtUnmounted();
  bool changed = false;
  change([&](DiskSettings& settings, DiskObservation& observed) {
    const QVComparableValues before{settings.name, observed.volSize, observed.volFree};
    changed = now.status != observed.status || (now.values && *now.values != before);
    observed.status = now.status;
    if (!now.values) return;
    settings.name = now.values->name;
    observed.volSize = now.values->size;
    observed.volFree = now.values->sizeFree;
  });
  return changed;
}

double QVRamDisk::diskUsage() const {
  const auto seen = observed();
  const auto size = static_cast<double>(seen.volSize);
  if (size == 0) return 0.0;
  return (size - static_cast<double>(seen.volFree)) / size;
}

std::int64_t QVRamDisk::hasContents() const {
  const auto seen = observed();
  if (seen.action != QVRamDiskActionNone || seen.status != QVRamDiskStatus_mounted || !seen.path)
    return -1;
  const auto names = services().files->names(*seen.path);
  if (!names) {
    QVLogError("QVRamDisk", "contents==nil path:{} error:{}", *seen.path,
               QVDescription(names.error()));
    return -1;
  }
  return std::all_of(names->begin(), names->end(), isHidden) ? 0 : 1;
}

void takeOnState(QVRamDisk& record, const QVRamDisk& observed) {
  const auto seen = observed.observed();
  record.change([&](DiskSettings&, DiskObservation& known) {
    known.status = seen.status;
    known.deviceNode = seen.deviceNode;
    known.path = seen.path;
    known.volSize = seen.volSize;
    known.volFree = seen.volFree;
    known.lastActionInfo = seen.lastActionInfo;
    known.lastError = seen.lastError;
  });
}

void putState(std::vector<QVRamDiskPtr>& records, const QVRamDiskPtr& observed) {
  const auto found = std::find_if(records.begin(), records.end(), [&](const auto& record) {
    return areOfOneDisk(*record, *observed);
  });
  const auto seen = observed->observed();
  if (found != records.end()) {
    takeOnState(**found, *observed);
  } else if (hasDevice(seen)) {
    QVLogWarning("QVRamDiskEntries",
                 "{} was removed from the list while it was created; it is listed again",
                 QVText(observed->name()));
    records.push_back(observed);
  }
  if (hasDevice(seen)) claimDevice(records, *observed, *seen.deviceNode);
}
