#include <chrono>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/Generation.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/Rescue.h"
#include "ramdisk/Users.h"
#include "system/DiskPlaces.h"
#include "system/TreeCopier.h"

// An eject gives the memory back without losing what is in it, in an order that leaves a whole copy
// somewhere at each moment:
//
//   1. save      the volume into its saved base or backup folder; if that fails, or is not whole,
//                the disk stays
//   2. hold off  nobody may write any more; refused by the system while a file is open for writing.
//                It is tried for two seconds, as programs open and close files all the time
//   3. save      again what changed since 1 began, and nothing can change any more
//   4. unmount and detach; from here on the saved folder is the only copy
//   5. put back  the saved base takes the directory's place again
//
// Writers that do not let go end it at 2, with their names. Who insists gets 4 before 3: the path
// is unmounted first, so that no program opens another file there, then the device is mounted at a
// place of the program's own and saved until nothing changes; what those still write who hold files
// open is lost after that, and they are named. A program killed in between leaves a device that
// waits, which recovery mounts, saves and ejects.
//
// Who insists after a save that was not whole gets what could not be saved copied to the program's
// own folder, where that takes it, and the generation before it kept.
//
// What fails before 4 leaves the volume mounted and writable, and the record finds it again, so
// that contents nobody saved stay in reach. After a failure in 5, which is told, the contents are
// whole under the saved base's name, and recovery puts them back.

namespace {

using platform::services;

constexpr auto kBetweenTries = std::chrono::milliseconds(100);
constexpr int kMostTries = 20;
constexpr int kMostLateSaves = 10;

std::vector<platform::VolumeUser> writersOf(const std::string& volume) {
  auto users = services().volumes->use(volume).users;
  std::erase_if(users, [](const auto& user) { return !user.writing; });
  return users;
}

}  // namespace

QVErrorPtr QVRamDisk::eject(const QVRamDiskDelegatePtr& delegate) {
  QVErrorPtr error;
  const auto lock = lockForAction({}, error);
  return lock ? eject(delegate, *lock) : error;
}

QVErrorPtr QVRamDisk::eject(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  lastSave_ = {};
  update();
  QVErrorPtr result = savesContents() ? saveContents(delegate, lock) : nullptr;
  if (!result || mayGoOnAfter(result)) result = ejectDevice(delegate, lock);
  setPath(std::nullopt);
  update();
  if (result) findVolumeAgain();
  return result;
}

// A save that lacks entries ends an eject, unless the user insists; one that only was not calm does
// not, as the last save is made when nobody can write.
bool QVRamDisk::mayGoOnAfter(const QVErrorPtr& saved) {
  return saved->code() == QVErrorCode::NotAllSaved && (lastSave_.isWhole() || insistence().force);
}

QVErrorPtr QVRamDisk::ejectDevice(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  inform(delegate, QVRamDiskActionInfo_ejecting, nullptr);
  const auto known = settings();
  const std::string place = placeOfVolume().value_or("");
  QVErrorPtr result;
  if (savesContents() && path()) {
    result = ejectSaved(delegate, lock);
  } else {
    const auto seen = observed();
    result = QVRamDiskDevice::ejectRamDiskDeviceNode(seen.deviceNode, seen.path,
                                                     known.ownsMountDirectory());
  }
  if (!result && known.isKeptInBase()) putBaseBack(place, lock);
  return result;
}

QVErrorPtr QVRamDisk::ejectSaved(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  const auto seen = observed();
  if (!holdWritersOff()) {
    const auto writers = writersOf(*seen.path);
    if (!writers.empty() && !insistence().force)
      return inUseError(displayName().value_or(""), writers);
    if (!writers.empty())
      tell(QVLocalizedFormat("What these programs write to %@ from now on is lost: %@",
                             {displayName().value_or(""), namesOfUsers(writers)}));
    return ejectFromUnderWriters(delegate);
  }
  QVErrorPtr result = saveHeldOff(delegate, lock);
  if (!result)
    result = QVRamDiskDevice::ejectRamDiskDeviceNode(seen.deviceNode, seen.path,
                                                     settings().ownsMountDirectory());
  if (result) QVRamDiskDevice::setWritable(seen.deviceNode, seen.path, true);
  return result;
}

bool QVRamDisk::holdWritersOff() const {
  const auto seen = observed();
  for (int attempt = 0; attempt < kMostTries; ++attempt) {
    if (attempt > 0) services().mainLoop->sleep(kBetweenTries);
    if (!QVRamDiskDevice::setWritable(seen.deviceNode, seen.path, false)) return true;
    if (attempt > 0 && writersOf(*seen.path).empty()) return false;  // it is not for them
  }
  return false;
}

QVErrorPtr QVRamDisk::saveHeldOff(const QVRamDiskDelegatePtr& delegate, const ActionLock& lock) {
  const std::string volume = path().value_or("");
  if (lastSave_.isWhole() && lastSave_.calm && lastSave_.began &&
      !hasChangedSince(volume, *lastSave_.began))
    return nullptr;
  auto error = saveInto(folderOfSaves(), delegate, SaveCare::TrustTimes, false, lock);
  if (error && !mayGoOnAfter(error)) return error;
  keepMissingAside(volume, lastSave_.missing);
  return nullptr;
}

// The device keeps its contents whatever becomes of the path.
QVErrorPtr QVRamDisk::ejectFromUnderWriters(const QVRamDiskDelegatePtr& delegate) {
  const auto seen = observed();
  const Text support = QVRamDiskManager::appSupportPath();
  if (!support || !identifier_ || !seen.deviceNode)
    return inUseError(displayName().value_or(""), writersOf(*seen.path));
  const std::string place = disk_places::lookPlace(*support, *identifier_);
  if (auto error = QVRamDiskDevice::unmount(*seen.path)) return error;
  QVErrorPtr error = QVRamDiskDevice::mountAsItIs(*seen.deviceNode, place);
  if (!error) error = saveTillCalm(place, delegate);
  if (error) {
    QVRamDiskDevice::unmount(place);
    QVRamDiskDevice::mountAsItIs(*seen.deviceNode, *seen.path);
    return error;
  }
  error = QVRamDiskDevice::ejectRamDiskDeviceNode(seen.deviceNode, place, false);
  services().files->removeEmpty(place);
  return error;
}

QVErrorPtr QVRamDisk::saveTillCalm(const std::string& place, const QVRamDiskDelegatePtr& delegate) {
  const Text folder = folderOfSaves();
  for (int again = 0;; ++again) {
    auto error = saveFrom(place, folder, delegate, SaveCare::Compare, true);
    if (error && !mayGoOnAfter(error)) return error;
    const bool calm = lastSave_.began && !hasChangedSince(place, *lastSave_.began);
    if (!calm && again < kMostLateSaves) continue;
    keepMissingAside(place, lastSave_.missing);
    return nullptr;
  }
}

// The user insists; what no save could take may have another place.
void QVRamDisk::keepMissingAside(const std::string& volume,
                                 const std::vector<std::string>& missing) {
  const Text support = QVRamDiskManager::appSupportPath();
  if (missing.empty() || !support) return;
  const auto kept = copyRescued(missing, volume,
                                extensions::appendingPathComponent(*support, name().value_or("")));
  if (kept.folder)
    tell(QVLocalizedFormat("What could not be saved of %@ is kept in %@",
                           {displayName().value_or(""), *kept.folder}));
  if (!kept.lost.empty())
    tell(QVLocalizedFormat("These could not be saved of %@ and are gone: %@",
                           {displayName().value_or(""), someOf(kept.lost)}));
}

// After an eject that failed the volume may be mounted still, with contents nobody has saved.
void QVRamDisk::findVolumeAgain() {
  QVErrorPtr error;
  const Text mountPoint = QVRamDiskDevice::mountPointFromDeviceNode(deviceNode(), error);
  if (!mountPoint || !QVRamDiskDevice::isVolumeOf(identifier_, mountPoint)) return;
  setPath(mountPoint);
  update();
}

// The directory returns under its own name with what was just saved. Where nothing stands at the
// place any more the user took that away: the base stays where it is, which is told.
void QVRamDisk::putBaseBack(const std::string& place, const ActionLock&) {
  const std::string folder = disk_places::savedBase(extensions::deletingLastPathComponent(place),
                                                    extensions::lastPathComponent(place));
  const Generation base(folder);
  if (!base.exists()) return;
  std::vector<std::string> kept;
  platform::Outcome done;
  if (services().files->exists(place)) {
    closeGaps(base, kept);
    done = putInPlace(folder, place, kept);
  }
  for (const auto& path : kept)
    tell(QVLocalizedFormat("Files of yours that were not on %@ are kept in %@",
                           {displayName().value_or(""), path}));
  if (!done)
    QVLogError("QVRamDisk", "moveItemAtPath==NO mountPoint:{} error:{}", place,
               QVDescription(done.error()));
  if (done && services().files->exists(place) && !base.exists()) return takeNotes(place);
  tell(QVLocalizedFormat("The contents of %@ are still set aside as %@",
                         {displayName().value_or(""), folder}));
}
