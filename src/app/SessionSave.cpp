#include "app/SessionSave.h"

#include <atomic>

#include "core/QVError.h"
#include "core/QVLog.h"
#include "ramdisk/ActionLock.h"

namespace app {
namespace {

// In this program or in another.
bool isBusy(const QVRamDisk& disk) {
  return disk.action() != QVRamDiskActionNone || ActionLock::isTaken(disk.identifier());
}

}  // namespace

QVRamDiskAction savingAction(const QVRamDisk& disk) {
  if (disk.status() != QVRamDiskStatus_mounted || !disk.path()) return QVRamDiskActionNone;
  if (disk.isSavedIntoBase())
    return disk.savedBasePath() ? QVRamDiskActionSyncWithBase : QVRamDiskActionNone;
  return disk.backupDirPath() ? QVRamDiskActionBackup : QVRamDiskActionNone;
}

// Follows one disk's save, for this object and for the registry's own delegate. The record tells
// its end only here: it is not marked as busy yet when its thread is started.
class SessionSave::Report : public QVRamDiskDelegate {
 public:
  explicit Report(std::shared_ptr<QVRamDiskEntries> entries) : entries_(std::move(entries)) {}

  void ramDiskDidUpdated(const QVRamDiskPtr& disk) override {
    entries_->ramDiskDidUpdated(disk);
    if (disk->action() != QVRamDiskActionNone) return;
    if (const auto error = disk->lastError())
      QVLogError("SessionSave", "{} could not be saved: {}", QVText(disk->name()),
                 QVDescription(error));
    ended_ = true;
  }
  void ramDiskDidProgress(const QVRamDiskPtr& disk, const QVRamDiskProgress& progress) override {
    entries_->ramDiskDidProgress(disk, progress);
  }
  bool ended() const { return ended_; }

 private:
  std::shared_ptr<QVRamDiskEntries> entries_;
  std::atomic<bool> ended_ = false;
};

SessionSave::SessionSave(std::shared_ptr<QVRamDiskEntries> entries) : entries_(std::move(entries)) {
  for (const auto& record : entries_->ramDisks()) disks_.push_back({record, nullptr});
}

bool SessionSave::isOver(Disk& disk) {
  auto& record = *disk.record;
  if (disk.report) return disk.report->ended();
  if (isBusy(record)) {
    if (passes_ < kBusyPasses) return false;
    QVLogError("SessionSave", "{} is busy and is not saved", QVText(record.name()));
    return true;
  }
  record.update();
  const auto action = savingAction(record);
  if (action == QVRamDiskActionNone) return true;
  disk.report = std::make_shared<Report>(entries_);
  record.performAction(action, disk.report, 1);
  return false;
}

void SessionSave::giveUp() const {
  for (const auto& disk : disks_)
    QVLogError("SessionSave", "{} is not saved in time", QVText(disk.record->name()));
}

bool SessionSave::step() {
  std::erase_if(disks_, [this](Disk& disk) { return isOver(disk); });
  if (disks_.empty()) return true;
  if (++passes_ < kMostPasses) return false;
  giveUp();
  return true;
}

}  // namespace app
