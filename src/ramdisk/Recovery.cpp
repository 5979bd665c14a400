#include "ramdisk/Recovery.h"

#include <algorithm>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/Rescue.h"
#include "ramdisk/StrayDevice.h"
#include "ramdisk/VolumeNotes.h"

namespace {

using platform::FileKind;
using platform::services;
using Findings = std::vector<RecoveryFinding>;
using Infos = QVRamDiskDevice::Infos;
using Text = std::optional<std::string>;

std::string mountPathOf(const QVRamDisk& disk) {
  return extensions::appendingPathComponent(
      disk.mountDirectory().value_or(services().places->volumesDirectory()),
      disk.name().value_or(""));
}

std::int64_t isCovered(const std::string& path) {
  return services().files->exists(path) ? QVRamDiskDevice::hasMountedVolumeAtPath(path) : 0;
}

bool isOf(const QVRamDisk& disk, const Infos& infos) {
  const auto owner = infos.find("identifier");
  return owner != infos.end() && disk.identifier() == owner->second;
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
    plans = planForGeneration(Generation(*base), mountPathOf(disk), placeIsFree);
  if (const Text backup = disk.backupDirPath())
    for (auto& plan : planForGeneration(Generation(*backup), std::nullopt))
      plans.push_back(std::move(plan));
  return plans;
}

// The look at one disk's volume or device.
class VolumeRecovery {
 public:
  explicit VolumeRecovery(QVRamDiskPtr disk)
      : disk_(std::move(disk)), path_(mountPathOf(*disk_)), covered_(isCovered(path_)) {}

  std::optional<RecoveryFinding> find() {
    if (covered_ == 1) return findMounted();
    if (covered_ == 0) return findWaiting();
    return std::nullopt;
  }

  // Whether the set-aside folders may be looked at: no volume stands for them any more.
  bool leavesPlaceFree(const std::optional<RecoveryFinding>& finding) const {
    if (finding) return finding->step == RecoveryStep::UndoCreation;
    return covered_ == 0 && !(disk_->deviceNode() && isWaiting(*disk_->deviceNode()));
  }

  QVErrorPtr perform(const RecoveryFinding& finding) {
    switch (finding.step) {
      case RecoveryStep::Adopt:
        return adopt();
      case RecoveryStep::UndoCreation:
        return undoCreation();
      default:
        return finishEject();
    }
  }

 private:
  std::optional<RecoveryFinding> findMounted();
  std::optional<RecoveryFinding> findWaiting();
  bool isUnlabelledRest(const std::string& volume) const;
  QVErrorPtr adopt();
  QVErrorPtr undoCreation();
  QVErrorPtr finishEject();

  const QVRamDiskPtr disk_;
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
  if (labelled ? !isOf(*disk_, infos) : !isUnlabelledRest(path_)) return std::nullopt;
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
  if (disk_->status() == QVRamDiskStatus_mounted && disk_->path() == path_) return std::nullopt;
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
  return RecoveryFinding{RecoveryStep::FinishEject, *node_,
                         fmt::format("the device {} is attached and not mounted; it is mounted at "
                                     "{}, saved and ejected",
                                     *node_, path_)};
}

QVErrorPtr VolumeRecovery::adopt() {
  disk_->setDeviceNode(node_);
  disk_->setPath(path_);
  disk_->setStatus(QVRamDiskStatus_mounted);
  disk_->update();
  const auto attributes = services().volumes->attributes(path_);
  if (!attributes || !attributes->readOnly) return nullptr;
  return QVRamDiskDevice::setWritable(node_, path_, true);
}

QVErrorPtr VolumeRecovery::undoCreation() {
  noteAttachedDevice(disk_->identifier(), *node_);  // once unmounted nothing else leads to it
  if (auto error = QVRamDiskDevice::ejectRamDiskDeviceNode(node_, path_, false)) return error;
  forgetAttachedDevice(disk_->identifier());
  disk_->setDeviceNode(std::nullopt);
  disk_->setPath(std::nullopt);
  disk_->update();
  return nullptr;
}

// Whose the device is shows only while it is mounted; one of somebody else is left as it was.
QVErrorPtr VolumeRecovery::finishEject() {
  if (auto error = QVRamDiskDevice::mountAsItIs(*node_, path_)) return error;
  Infos infos;
  QVRamDiskDevice::getExtentedRamDiskInfos(infos, path_);
  if (!isOf(*disk_, infos)) {
    disk_->setDeviceNode(std::nullopt);
    return QVRamDiskDevice::unmount(path_);
  }
  if (isRefillUnderWay(path_)) return undoCreation();
  adopt();
  return disk_->eject(nullptr);
}

QVErrorPtr performGenerationPlans(const QVRamDisk& disk, Findings& found) {
  for (const auto& plan : plansForGenerations(disk, false)) {
    found.push_back(plan.finding);
    if (const auto done = plan.perform(); !done)
      return QVError::errorWithMessage(QVLocalized("Can not restore backup"), "recover",
                                       done.error());
  }
  return nullptr;
}

QVErrorPtr recoverVolume(const QVRamDiskPtr& disk, Findings& found) {
  VolumeRecovery volume(disk);
  const auto finding = volume.find();
  if (!finding) return nullptr;
  found.push_back(*finding);
  QVLogWarning("QVRamDisk", "{}", finding->text);
  return volume.perform(*finding);
}

}  // namespace

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
std::vector<RecoveryFinding> recoverCutOffActions(const QVRamDiskPtr& disk, QVErrorPtr& error) {
  Findings found;
  const ActionLock lock = ActionLock::take(disk->identifier(), error);
  if (error) return found;
  if (const auto stray = giveBackStrayDevice(disk)) found.push_back(*stray);
  if ((error = recoverVolume(disk, found))) return found;
  VolumeRecovery volume(disk);
  if (!volume.leavesPlaceFree(std::nullopt)) return found;
  error = performGenerationPlans(*disk, found);
  return found;
}

void putGenerationsBack(const QVRamDiskPtr& disk) {
  if (isCovered(mountPathOf(*disk)) != 0) return;
  Findings found;
  performGenerationPlans(*disk, found);
}

// The lock is held by who calls, so that it can be had once more here; without one nothing is done.
std::optional<RecoveryFinding> giveBackStrayDevice(const QVRamDiskPtr& disk) {
  StrayDevice stray(disk->identifier());
  auto finding = stray.find();
  if (!finding) return std::nullopt;
  QVErrorPtr error;
  const ActionLock lock = ActionLock::take(disk->identifier(), error);
  if (!lock.isHeld()) return std::nullopt;
  QVLogWarning("QVRamDisk", "{}", finding->text);
  stray.giveBack();
  return finding;
}
