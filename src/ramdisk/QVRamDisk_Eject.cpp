#include <chrono>
#include <filesystem>

#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/Rescue.h"
#include "system/TreeCopier.h"

// An eject gives the memory back without losing what is in it, in an order that leaves a whole copy
// somewhere at each moment:
//
//   1. save      the volume into its saved base or backup folder; if that fails, the disk stays
//   2. hold off  nobody may write any more; refused by the system while a file is open for writing
//   3. save      again what changed since 1 began. After a refusal this is as late as it can be,
//                and who holds on is named in the log
//   4. unmount and detach; from here on the saved folder is the only copy
//   5. put back  the saved base takes the directory's place again
//
// What fails before 4 leaves the volume mounted and writable, and the record finds it again, so
// that contents nobody saved stay in reach. A failure in 5 is only logged: the contents are whole
// under the saved base's name, and recovery puts them back.

namespace {

using platform::services;

platform::Outcome removeMountDirectoryIfThere(const std::string& path) {
  if (!services().files->exists(path)) return {};
  return services().files->remove(path);
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
  QVErrorPtr error;
  const auto lock = lockForAction({}, error);
  return lock ? eject(delegate, *lock) : error;
}

QVErrorPtr QVRamDisk::eject(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  update();
  QVErrorPtr result = savesContents() ? saveContents(delegate, lock) : nullptr;
  if (!result) result = ejectDevice(delegate, lock);
  setPath(std::nullopt);
  update();
  if (result) findVolumeAgain();
  return result;
}

QVErrorPtr QVRamDisk::ejectDevice(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  inform(delegate, QVRamDiskActionInfo_ejecting, nullptr);
  const auto known = settings();
  const bool saves = savesContents();
  QVErrorPtr result = saves ? saveLateChanges(delegate, lock) : nullptr;
  const auto seen = observed();
  if (!result)
    result = QVRamDiskDevice::ejectRamDiskDeviceNode(seen.deviceNode, seen.path,
                                                     known.ownsMountDirectory());
  if (result && saves) QVRamDiskDevice::setWritable(seen.deviceNode, seen.path, true);
  if (!result && known.isKeptInBase()) putBaseBack(lock);
  return result;
}

QVErrorPtr QVRamDisk::saveLateChanges(const QVRamDiskDelegatePtr& delegate,
                                      const ActionLock& lock) {
  const auto seen = observed();
  if (!seen.path) return nullptr;
  const auto saved = saveNote(*seen.path);
  const bool heldOff = !QVRamDiskDevice::setWritable(seen.deviceNode, seen.path, false);
  if (!heldOff) warnOfWriters(*seen.path);
  if (heldOff && saved && !hasChangedSince(*seen.path, saved->began)) return nullptr;
  return saveInto(settings().folderOfSaves(identifier_), delegate, SaveCare::TrustTimes, lock);
}

// After an eject that failed the volume may be mounted still, with contents nobody has saved.
void QVRamDisk::findVolumeAgain() {
  QVErrorPtr error;
  const Text mountPoint = QVRamDiskDevice::mountPointFromDeviceNode(deviceNode(), error);
  if (!mountPoint || !QVRamDiskDevice::isVolumeOf(identifier_, mountPoint)) return;
  setPath(mountPoint);
  update();
}

// The directory returns under its own name with what was just saved.
void QVRamDisk::putBaseBack(const ActionLock&) {
  const auto known = settings();
  const auto base = known.savedBase();
  if (!base) return;
  const std::string place = known.mountPath();
  if (!services().files->exists(place)) return;
  setAsideIfUsed(place);
  if (const auto done = removeMountDirectoryIfThere(place); !done) {
    QVLogError("QVRamDisk", "removeItemAtPath==NO mountPoint:{} error:{}", place,
               QVDescription(done.error()));
    return;
  }
  if (const auto done = services().files->move(*base, place); !done)
    QVLogError("QVRamDisk", "moveItemAtPath==NO mountPoint:{} error:{}", place,
               QVDescription(done.error()));
  else
    takeIdentity(place);
}
