#include "ramdisk/Recovery.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/Generation.h"
#include "ramdisk/Rescue.h"
#include "system/DiskPlaces.h"

// Nothing is written down while an action runs but for one note; what was cut off is told from what
// it left, so that it does not matter where it was cut:
//
//   at the mount path               it was                               it is
//   our volume, marked as filling   a creation, before all was in        undone: detached
//   one unlabelled and empty        a creation, before the label         undone
//   our volume, read-only           an eject, between its saves          taken up, writable again
//   our volume, not known           an action that was never told of     taken up
//   nothing, but a device waits     an eject, or somebody unmounted it   mounted, saved, ejected;
//                                                                        before a save: mounted
//   nothing                         a crash; the saved base              put back (Rescue.h)
//
// A volume stands for the folders that were set aside for it, so these are looked at only when it
// is gone. And a device that no volume leads to is found by its note (StrayDevice). Each step
// leaves something that the next run goes on from.

namespace {

using platform::services;
using Findings = std::vector<RecoveryFinding>;
using Infos = QVRamDiskDevice::Infos;
using Text = std::optional<std::string>;

std::int64_t isCovered(const std::string& path) {
  return services().files->exists(path) ? QVRamDiskDevice::hasMountedVolumeAtPath(path) : 0;
}

// Whether it is a RAM device, mounted there or, without a path, nowhere.
bool isRamDevice(const std::string& node, const Text& mountPoint) {
  QVErrorPtr error;
  const auto devices = QVRamDiskDevice::deviceList(false, error);
  return devices && std::any_of(devices->begin(), devices->end(), [&](const auto& device) {
           return device.devNode == node && device.mountPoint == mountPoint;
         });
}

bool isWaiting(const std::string& node) { return isRamDevice(node, std::nullopt); }

std::vector<PlannedRecovery> plansForGenerations(const QVRamDisk& disk, bool placeIsFree) {
  std::vector<PlannedRecovery> plans;
  if (const Text base = disk.savedBasePath())
    plans = planForGeneration(Generation(*base), disk.mountPath(), placeIsFree);
  if (const Text backup = disk.backupDirPath())
    for (auto& plan : planForGeneration(Generation(*backup), std::nullopt))
      plans.push_back(std::move(plan));
  return plans;
}

// The look at one disk's volume or device.
class VolumeRecovery {
 public:
  explicit VolumeRecovery(QVRamDiskPtr disk, RecoveryPurpose purpose = RecoveryPurpose::ClearTheWay)
      : disk_(std::move(disk)),
        purpose_(purpose),
        path_(disk_->mountPath()),
        covered_(isCovered(path_)) {}

  std::optional<RecoveryFinding> find() {
    if (covered_ == 1) return findMounted();
    if (covered_ == 0) return findWaiting();
    return std::nullopt;
  }

  // Whether the set-aside folders may be looked at: no volume stands for them any more.
  bool leavesPlaceFree(const std::optional<RecoveryFinding>& finding) const {
    if (finding) return finding->step == RecoveryStep::UndoCreation;
    return covered_ == 0 && !hasDevice();
  }

  QVErrorPtr perform(const RecoveryFinding& finding, const ActionLock& lock) {
    switch (finding.step) {
      case RecoveryStep::Adopt:
        return adopt();
      case RecoveryStep::UndoCreation:
        return undoCreation();
      case RecoveryStep::MountAgain:
        return mountAgain();
      default:
        return finishEject(lock);
    }
  }

 private:
  std::optional<RecoveryFinding> findMounted();
  std::optional<RecoveryFinding> findWaiting();
  bool isUnlabelledRest(const std::string& volume) const;
  bool hasDevice() const;
  QVErrorPtr adopt();
  QVErrorPtr undoCreation();
  QVErrorPtr mountAgain();
  QVErrorPtr finishEject(const ActionLock& lock);

  const QVRamDiskPtr disk_;
  const RecoveryPurpose purpose_;
  const std::string path_;
  const std::int64_t covered_;
  Text node_;
};

std::optional<RecoveryFinding> VolumeRecovery::findMounted() {
  QVErrorPtr error;
  node_ = QVRamDiskDevice::deviceNodeFromPath(path_, error);
  if (!node_) return std::nullopt;
  Infos infos;
  const bool labelled = QVRamDiskDevice::getExtentedRamDiskInfos(infos, path_);
  if (labelled ? !QVRamDiskDevice::belongsTo(disk_->identifier(), infos) : !isUnlabelledRest(path_))
    return std::nullopt;
  if (!labelled || isRefillUnderWay(path_))
    return RecoveryFinding{RecoveryStep::UndoCreation, path_,
                           fmt::format("the volume at {} was never filled to the end; it goes, and "
                                       "its directory gets its own contents back",
                                       path_)};
  const auto attributes = services().volumes->attributes(path_);
  if (attributes && attributes->readOnly)
    return RecoveryFinding{RecoveryStep::Adopt, path_,
                           fmt::format("the volume at {} is mounted and whole; it can be written "
                                       "again, which an eject had stopped",
                                       path_)};
  const auto seen = disk_->observed();
  if (seen.status == QVRamDiskStatus_mounted && seen.path == path_) return std::nullopt;
  return RecoveryFinding{RecoveryStep::Adopt, path_,
                         fmt::format("the volume at {} is mounted and whole", path_)};
}

// What a creation leaves that was cut off between mounting and labelling. Nothing can be lost with
// it, as it holds nothing.
bool VolumeRecovery::isUnlabelledRest(const std::string& volume) const {
  return !holdsUserFiles(volume) && isRamDevice(*node_, volume);
}

std::optional<RecoveryFinding> VolumeRecovery::findWaiting() {
  node_ = disk_->deviceNode();
  if (!node_ || !disk_->savesContents() || !isWaiting(*node_)) return std::nullopt;
  if (purpose_ == RecoveryPurpose::WorkOnContents) {
    // What the user has put there since is not covered.
    if (services().files->exists(path_) && holdsUserFiles(path_)) return std::nullopt;
    return RecoveryFinding{
        RecoveryStep::MountAgain, *node_,
        fmt::format("the device {} was attached and not mounted; it is mounted at {} again", *node_,
                    path_)};
  }
  return RecoveryFinding{RecoveryStep::FinishEject, *node_,
                         fmt::format("the device {} is attached and not mounted; it is mounted at "
                                     "{}, saved and ejected",
                                     *node_, path_)};
}

// One that waits, or shows our volume somewhere else, as when the directory above was renamed.
bool VolumeRecovery::hasDevice() const {
  const Text node = disk_->deviceNode();
  if (!node) return false;
  if (isWaiting(*node)) return true;
  QVErrorPtr error;
  const Text place = QVRamDiskDevice::mountPointFromDeviceNode(node, error);
  return place && QVRamDiskDevice::isVolumeOf(disk_->identifier(), place);
}

QVErrorPtr VolumeRecovery::adopt() {
  disk_->change([this](DiskSettings&, DiskObservation& observed) {
    observed.deviceNode = node_;
    observed.path = path_;
    observed.status = QVRamDiskStatus_mounted;
  });
  disk_->update();
  const auto attributes = services().volumes->attributes(path_);
  if (!attributes || !attributes->readOnly) return nullptr;
  return QVRamDiskDevice::setWritable(node_, path_, true);
}

QVErrorPtr VolumeRecovery::undoCreation() {
  noteAttachedDevice(disk_->identifier(), *node_);  // once unmounted nothing else leads to it
  if (auto error = QVRamDiskDevice::ejectRamDiskDeviceNode(node_, path_, false)) return error;
  forgetAttachedDevice(disk_->identifier());
  disk_->change([](DiskSettings&, DiskObservation& observed) {
    observed.deviceNode = std::nullopt;
    observed.path = std::nullopt;
  });
  disk_->update();
  return nullptr;
}

// Whose the device is shows only while it is mounted; one of somebody else is left as it was.
QVErrorPtr VolumeRecovery::mountAgain() {
  if (auto error = QVRamDiskDevice::mountAsItIs(*node_, path_)) return error;
  if (!QVRamDiskDevice::isVolumeOf(disk_->identifier(), path_)) {
    disk_->setDeviceNode(std::nullopt);
    return QVRamDiskDevice::unmount(path_);
  }
  return isRefillUnderWay(path_) ? undoCreation() : adopt();
}

QVErrorPtr VolumeRecovery::finishEject(const ActionLock& lock) {
  if (auto error = mountAgain()) return error;
  return disk_->status() == QVRamDiskStatus_mounted ? disk_->eject(nullptr, lock) : nullptr;
}

// --- A device that was never used

// A note that was cut off names no device.
Text notedDevice(const Text& support, const Text& identifier) {
  if (!support || !identifier) return std::nullopt;
  std::ifstream file(disk_places::deviceNote(*support, *identifier), std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!text.ends_with('\n')) return std::nullopt;
  text.pop_back();
  return text;
}

// The device that a creation attached and that nothing gave back, as the program was killed before
// its volume was mounted and labelled, or while the creation was undone. A note in a file names the
// device meanwhile. Nodes are given out again, so the note alone proves nothing: see giveBack().
class StrayDevice {
 public:
  explicit StrayDevice(const std::optional<std::string>& identifier);

  // Nothing when no device is noted, or it is gone or mounted somewhere. Changes nothing.
  std::optional<RecoveryFinding> find();

  // After find(), while the caller holds the disk's ActionLock. Detaches the device only if no
  // other action runs that could have attached it, and only if it can be mounted and holds nothing:
  // no file of a user's, and no label, as that of a disk that is unmounted with its contents. Else
  // it stays. Failures are logged; they stand in nobody's way.
  void giveBack();

 private:
  bool showVolume() const;
  bool holdsNothing() const;

  const std::optional<std::string> identifier_;
  std::optional<std::string> node_;
  std::string place_;  // where its volume is looked at
  bool isMounted_ = false;
};

StrayDevice::StrayDevice(const Text& identifier) : identifier_(identifier) {
  const Text support = QVRamDiskManager::appSupportPath();
  node_ = notedDevice(support, identifier);
  if (node_) place_ = disk_places::lookPlace(*support, *identifier);
}

std::optional<RecoveryFinding> StrayDevice::find() {
  QVErrorPtr error;
  const auto devices = node_ ? QVRamDiskDevice::deviceList(false, error) : std::nullopt;
  if (!devices) return std::nullopt;
  const auto device = std::find_if(devices->begin(), devices->end(),
                                   [&](const auto& each) { return each.devNode == *node_; });
  if (device == devices->end()) return std::nullopt;
  isMounted_ = device->mountPoint == place_;  // a look that was cut off too
  if (device->mountPoint && !isMounted_) return std::nullopt;
  return RecoveryFinding{RecoveryStep::GiveBack, *node_,
                         fmt::format("the device {} was attached by a creation that was cut off "
                                     "and is mounted nowhere; it is given back if it is empty",
                                     *node_)};
}

// The device was there and mounted nowhere before the locks were asked for: an action that has
// attached it runs still and holds its lock, and one that begins now gets another device.
void StrayDevice::giveBack() {
  const auto others = ActionLock::takeAllOthers(identifier_);
  if (!others)
    return QVLogWarning("StrayDevice", "{} is looked at later: an action is running", *node_);
  const bool goes = showVolume() && holdsNothing();
  if (QVRamDiskDevice::hasMountedVolumeAtPath(place_) == 1 && QVRamDiskDevice::unmount(place_))
    return;
  if (services().files->kind(place_) == platform::FileKind::Directory)
    services().files->remove(place_);
  if (!goes) QVLogWarning("StrayDevice", "{} is not known to be empty and stays", *node_);
  if (goes && QVRamDiskDevice::ejectRamDiskDeviceNode(node_, std::nullopt, false)) return;
  forgetAttachedDevice(identifier_);
}

// Mounted for this look, as it is and at a place of its own.
bool StrayDevice::showVolume() const {
  if (!isMounted_ && QVRamDiskDevice::mountAsItIs(*node_, place_)) return false;
  QVErrorPtr error;
  return QVRamDiskDevice::deviceNodeFromPath(place_, error) == node_;
}

// A refill of this disk that was cut off is a copy that is never saved: what it came from is whole.
bool StrayDevice::holdsNothing() const {
  Infos infos;
  if (!QVRamDiskDevice::getExtentedRamDiskInfos(infos, place_)) return !holdsUserFiles(place_);
  return QVRamDiskDevice::belongsTo(identifier_, infos) && isRefillUnderWay(place_);
}

// --- All of it

// What was kept aside on the way is told as a finding of its own, as only now it has a name.
QVErrorPtr performGenerationPlans(const QVRamDisk& disk, const ActionLock&, Findings& found) {
  for (const auto& plan : plansForGenerations(disk, false)) {
    found.push_back(plan.finding);
    std::vector<std::string> kept;
    const auto done = plan.perform(kept);
    for (const auto& path : kept)
      found.push_back({RecoveryStep::KeepRescued, path,
                       fmt::format("what else was there is kept as {}", path)});
    if (!done)
      return QVError::errorWithMessage(QVLocalized("Can not restore backup"), "recover",
                                       done.error());
  }
  return nullptr;
}

QVErrorPtr recoverVolume(const QVRamDiskPtr& disk, const ActionLock& lock, RecoveryPurpose purpose,
                         Findings& found) {
  VolumeRecovery volume(disk, purpose);
  const auto finding = volume.find();
  if (!finding) return nullptr;
  found.push_back(*finding);
  QVLogWarning("QVRamDisk", "{}", finding->text);
  return volume.perform(*finding, lock);
}

}  // namespace

// It need not outlive the system, which the device does not either, so it is not flushed.
void noteAttachedDevice(const Text& identifier, const std::string& node) {
  const Text support = QVRamDiskManager::appSupportPath();
  if (!support || !identifier) return;
  std::ofstream(disk_places::deviceNote(*support, *identifier), std::ios::binary | std::ios::trunc)
      << node << '\n';
}

void forgetAttachedDevice(const Text& identifier) {
  const Text support = QVRamDiskManager::appSupportPath();
  if (!support || !identifier) return;
  const std::string note = disk_places::deviceNote(*support, *identifier);
  if (!services().files->exists(note)) return;
  if (const auto done = services().files->remove(note); !done)
    QVLogWarning("StrayDevice", "the note of a device stays: {}", QVDescription(done.error()));
}

RecoveryPurpose recoveryPurposeOf(QVRamDiskAction action) {
  switch (action) {
    case QVRamDiskActionSyncWithBase:
    case QVRamDiskActionBackup:
    case QVRamDiskActionCleanUpFiles:
    case QVRamDiskActionRebuild:
      return RecoveryPurpose::WorkOnContents;
    default:
      return RecoveryPurpose::ClearTheWay;
  }
}

std::vector<RecoveryFinding> findCutOffActions(const QVRamDiskPtr& disk) {
  if (ActionLock::isTaken(disk->identifier())) return {};
  VolumeRecovery volume(disk);
  const auto finding = volume.find();
  Findings found;
  if (const auto stray = StrayDevice(disk->identifier()).find()) found.push_back(*stray);
  if (finding) found.push_back(*finding);
  if (volume.leavesPlaceFree(finding))
    for (const auto& plan : plansForGenerations(*disk, finding.has_value()))
      found.push_back(plan.finding);
  return found;
}

// A device of somebody else, once it is told, leaves the place as free as none.
std::vector<RecoveryFinding> recoverCutOffActions(const QVRamDiskPtr& disk, const ActionLock& lock,
                                                  QVErrorPtr& error, RecoveryPurpose purpose) {
  Findings found;
  if (const auto stray = giveBackStrayDevice(disk, lock)) found.push_back(*stray);
  if ((error = recoverVolume(disk, lock, purpose, found))) return found;
  const VolumeRecovery volume(disk);
  if (!volume.leavesPlaceFree(std::nullopt)) return found;
  error = performGenerationPlans(*disk, lock, found);
  return found;
}

void putGenerationsBack(const QVRamDiskPtr& disk, const ActionLock& lock) {
  if (isCovered(disk->mountPath()) != 0) return;
  Findings found;
  performGenerationPlans(*disk, lock, found);
}

// Without a real lock nothing is done: another program may be between attaching and mounting.
std::optional<RecoveryFinding> giveBackStrayDevice(const QVRamDiskPtr& disk,
                                                   const ActionLock& lock) {
  StrayDevice stray(disk->identifier());
  auto finding = stray.find();
  if (!finding || !lock.isHeld()) return std::nullopt;
  QVLogWarning("QVRamDisk", "{}", finding->text);
  stray.giveBack();
  return finding;
}
