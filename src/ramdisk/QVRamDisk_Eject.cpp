#include <chrono>
#include <filesystem>

#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "ramdisk/Rescue.h"
#include "ramdisk/VolumeNotes.h"
#include "system/TreeCopier.h"

namespace {

using platform::FileKind;
using platform::services;

platform::Outcome removeMountDirectoryIfThere(const std::string& path) {
  if (!services().files->exists(path)) return {};
  return services().files->remove(path);
}

// Only a plain disk that is not synchronised with a base owns its mount directory.
bool ownsMountDirectory(const QVRamDisk& disk) {
  return disk.type() == QVRamDiskType_Default &&
         (!disk.mountDirectory() || disk.backupMode() != QVRamDiskBackupMode_Base);
}

void warnOfWriters(const std::string& volume) {
  for (const auto& user : services().volumes->use(volume).users)
    if (user.writing)
      QVLogWarning("QVRamDisk",
                   "{} ({}) has files of {} open for writing; what it writes from now on is lost",
                   user.name, user.processIdentifier, volume);
}

bool modifiedSince(const std::string& folder, const timespec& moment) {
  std::error_code unknown;
  const auto time = std::filesystem::last_write_time(folder, unknown);
  if (unknown) return true;
  const auto since = std::chrono::seconds(moment.tv_sec) + std::chrono::nanoseconds(moment.tv_nsec);
  return std::chrono::file_clock::to_sys(time).time_since_epoch() >= since;
}

// A removed item leaves no trace but in the volume's own time.
bool hasChangedSince(const std::string& volume, const timespec& moment) {
  const auto names = services().files->names(volume);
  if (!names || modifiedSince(volume, moment)) return true;
  auto items = *names;
  std::erase_if(items, QVRamDiskBackup::leavesAlone);
  return anyChangedSince(items, volume, moment);
}

}  // namespace

QVErrorPtr QVRamDisk::eject(const QVRamDiskDelegatePtr& delegate) {
  update();
  QVErrorPtr result = savesContents() ? saveContents(delegate) : nullptr;
  if (!result) result = ejectDevice(delegate);
  setPath(std::nullopt);
  update();
  if (result) findVolumeAgain();
  return result;
}

// What a failed eject leaves mounted can be written again.
QVErrorPtr QVRamDisk::ejectDevice(const QVRamDiskDelegatePtr& delegate) {
  inform(delegate, QVRamDiskActionInfo_ejecting, nullptr);
  QVErrorPtr result = savesContents() ? saveLateChanges(delegate) : nullptr;
  if (!result)
    result =
        QVRamDiskDevice::ejectRamDiskDeviceNode(deviceNode(), path(), ownsMountDirectory(*this));
  if (result && savesContents()) QVRamDiskDevice::setWritable(deviceNode(), path(), true);
  if (!result && isSavedIntoBase()) putBaseBack();
  return result;
}

// From here on nobody writes any more, or, where files are still open for writing, who does is
// named. Either way what changed since the save is saved too.
QVErrorPtr QVRamDisk::saveLateChanges(const QVRamDiskDelegatePtr& delegate) {
  const Text volume = path();
  if (!volume) return nullptr;
  const auto saved = saveNote(*volume);
  const bool heldOff = !QVRamDiskDevice::setWritable(deviceNode(), volume, false);
  if (!heldOff) warnOfWriters(*volume);
  if (heldOff && saved && !hasChangedSince(*volume, saved->began)) return nullptr;
  return saveInto(isSavedIntoBase() ? savedBasePath() : backupDirPath(), delegate,
                  SaveCare::TrustTimes);
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
  if (const auto done = removeMountDirectoryIfThere(mountPoint); !done) {
    QVLogError("QVRamDisk", "removeItemAtPath==NO mountPoint:{} error:{}", mountPoint,
               QVDescription(done.error()));
    return;
  }
  if (const auto done = services().files->move(*base, mountPoint); !done)
    QVLogError("QVRamDisk", "moveItemAtPath==NO mountPoint:{} error:{}", mountPoint,
               QVDescription(done.error()));
  else
    takeIdentity(mountPoint);
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
  const QVErrorPtr error =
      QVRamDiskDevice::mountDeviceNode(deviceNode(), mountDirectory(), name(), format(), type(),
                                       identifier(), mounted, QVVolumeState::Known);
  if (!error) setPath(mounted);
  if (error && error->code() == QVErrorCode::OtherVolume) setDeviceNode(std::nullopt);
  update();
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_remounting, error);
}

void QVRamDisk::performRebuild(const QVRamDiskDelegatePtr& delegate) {
  setAction(QVRamDiskActionRebuild);
  QVErrorPtr error = eject(delegate);
  if (!error && !createWithDelegate(delegate, error))
    QVLogError("QVRamDisk", "icreateWithDelegate==NO");
  setAction(QVRamDiskActionNone);
  inform(delegate, QVRamDiskActionInfo_none, error);
}
