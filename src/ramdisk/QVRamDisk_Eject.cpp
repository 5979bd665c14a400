#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/BaseRescue.h"
#include "ramdisk/QVRamDisk.h"

namespace {

using platform::FileKind;
using platform::services;

constexpr std::string_view kClass = "QVRamDisk";

platform::Failure removeIfThere(const std::string& path) {
  if (services().files->kind(path) == FileKind::Missing) return std::nullopt;
  return services().files->remove(path);
}

// Only a plain disk that is not synchronised with a base owns its mount directory.
bool ownsMountDirectory(const QVRamDisk& disk) {
  return disk.type() == QVRamDiskType_Default &&
         (!disk.mountDirectory() || disk.backupMode() != QVRamDiskBackupMode_Base);
}

}  // namespace

QVErrorPtr QVRamDisk::eject(const QVRamDiskDelegatePtr& delegate) {
  update();
  bool usedBase = false;
  QVErrorPtr result = saveContents(delegate, usedBase);
  if (!result) {
    inform(delegate, QVRamDiskActionInfo_ejecting, nullptr);
    result =
        QVRamDiskDevice::ejectRamDiskDeviceNode(deviceNode(), path(), ownsMountDirectory(*this));
    if (!result && usedBase) putBaseBack();
  }
  setPath(std::nullopt);
  update();
  if (result) findVolumeAgain();
  return result;
}

// After an eject that failed the volume may be mounted still, with contents nobody has saved.
void QVRamDisk::findVolumeAgain() {
  QVErrorPtr error;
  const Text mountPoint = QVRamDiskDevice::mountPointFromDeviceNode(deviceNode(), error);
  QVRamDiskDevice::Infos infos;
  if (!mountPoint || !QVRamDiskDevice::getExtentedRamDiskInfos(infos, mountPoint)) return;
  const auto owner = infos.find("identifier");
  if (!identifier() || owner == infos.end() || owner->second != *identifier()) return;
  setPath(mountPoint);
  update();
}

// The directory returns under its own name with what was just saved.
void QVRamDisk::putBaseBack() {
  const auto base = savedBasePath();
  if (!base) return;
  const std::string mountPoint = extensions::appendingPathComponent(*mountDirectory(), *name());
  if (services().files->kind(mountPoint) == FileKind::Missing) return;
  setAsideIfUsed(mountPoint);
  if (const auto error = removeIfThere(mountPoint)) {
    QVLogError(kClass, "removeItemAtPath==NO mountPoint:{} error:{}", mountPoint,
               QVDescription(*error));
    return;
  }
  if (const auto error = services().files->move(*base, mountPoint))
    QVLogError(kClass, "moveItemAtPath==NO mountPoint:{} error:{}", mountPoint,
               QVDescription(*error));
}

void QVRamDisk::performEject(const QVRamDiskDelegatePtr& delegate) {
  setAction(QVRamDiskActionEject);
  const QVErrorPtr error = eject(delegate);
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_ejecting, error);
}

void QVRamDisk::performRemount(const QVRamDiskDelegatePtr& delegate) {
  setAction(QVRamDiskActionRemount);
  inform(delegate, QVRamDiskActionInfo_remounting, nullptr);
  Text mounted;
  const QVErrorPtr error = QVRamDiskDevice::mountDeviceNode(
      deviceNode(), mountDirectory(), name(), format(), type(), identifier(), mounted);
  if (!error) setPath(mounted);
  update();
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_remounting, error);
}

void QVRamDisk::performRebuild(const QVRamDiskDelegatePtr& delegate) {
  setAction(QVRamDiskActionRebuild);
  QVErrorPtr error = eject(delegate);
  if (!error && !createWithDelegate(delegate, error)) QVLogError(kClass, "icreateWithDelegate==NO");
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_none, error);
}
