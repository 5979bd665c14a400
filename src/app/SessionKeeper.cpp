#include "app/SessionKeeper.h"

#include <algorithm>
#include <atomic>
#include <vector>

#include "core/QVError.h"
#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "platform/Services.h"
#include "ramdisk/ActionLock.h"

namespace app {
namespace {

using platform::services;

// Nothing can be held while the system goes to sleep; by then it is awake again. Sleep does not
// count.
constexpr std::chrono::seconds kHoldAgain(30);

// What saves a mounted disk where its settings say, as its ejecting would, and leaves it mounted:
// QVRamDiskActionSyncWithBase or QVRamDiskActionBackup. None when there is nothing to save.
QVRamDiskAction savingAction(const QVRamDisk& disk) {
  if (disk.status() != QVRamDiskStatus_mounted || !disk.path()) return QVRamDiskActionNone;
  if (disk.isSavedIntoBase())
    return disk.savedBasePath() ? QVRamDiskActionSyncWithBase : QVRamDiskActionNone;
  return disk.backupDirPath() ? QVRamDiskActionBackup : QVRamDiskActionNone;
}

bool hasSomethingToSave(const QVRamDiskEntries& entries) {
  const auto& disks = entries.ramDisks();
  return std::any_of(disks.begin(), disks.end(),
                     [](const auto& disk) { return savingAction(*disk) != QVRamDiskActionNone; });
}

// In this program or in another.
bool isBusy(const QVRamDisk& disk) {
  return disk.action() != QVRamDiskActionNone || ActionLock::isTaken(disk.identifier());
}

void cancel(std::optional<platform::MainLoop::TimerId>& timer) {
  if (timer) services().mainLoop->cancel(*timer);
  timer.reset();
}

}  // namespace

// One save of all mounted disks, each on a thread of its own. It is moved on by step(), which does
// not block; whoever wants to wait calls it again and again. A disk that is busy is saved when its
// action has ended; what lasts too long is given up, with a line in the log. Main thread only.
class SessionSave {
 public:
  explicit SessionSave(std::shared_ptr<QVRamDiskEntries> entries);

  // Starts what can be started. YES when everything is saved or given up.
  bool step();

  // Saves that were given up are still at work.
  bool hasLeftovers() const { return !disks_.empty(); }

 private:
  class Report;
  struct Disk {
    QVRamDiskPtr record;
    std::shared_ptr<Report> report;  // from its start on
  };

  bool isOver(Disk& disk);
  void giveUp() const;

  std::shared_ptr<QVRamDiskEntries> entries_;
  std::vector<Disk> disks_;  // not saved yet
  int passes_ = 0;
};

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

SessionKeeper::SessionKeeper(std::function<bool()> isBusy) : isBusy_(std::move(isBusy)) {}

SessionKeeper::~SessionKeeper() {
  if (!entries_) return;
  cancel(saving_);
  cancel(holdingAgain_);
  services().notifications->remove(*observer_);
  services().sessionEnd->observe({});
  services().sessionEnd->release();
}

void SessionKeeper::start() {
  entriesAreOwn_ = true;
  auto entries = QVRamDiskEntries::init();
  entries->readRamDisksFromDefaultLocation();
  startWith(std::move(entries));
}

void SessionKeeper::startWith(std::shared_ptr<QVRamDiskEntries> entries,
                              std::function<bool()> ownerIsBusy) {
  entries_ = std::move(entries);
  ownerIsBusy_ = std::move(ownerIsBusy);
  observer_ = services().notifications->observe(
      QVRamDiskEntriesDidChangeToAllNotification, [this](const auto& notification) {
        n_ramDiskEntriesDidChangeToAllNotification(notification);
      });
  services().sessionEnd->observe([this] { announced(); });
  QVLogInfo("SessionKeeper", "The list is followed: {} disks", entries_->ramDisks().size());
  decideHold();
}

bool SessionKeeper::isNeeded() const {
  const auto& disks = entries_->ramDisks();
  return entries_->saveAtSessionEnd() &&
         std::any_of(disks.begin(), disks.end(),
                     [](const auto& disk) { return disk->savesContents(); });
}

// Another's registry is read again by its owner, who may be told after this object.
void SessionKeeper::n_ramDiskEntriesDidChangeToAllNotification(
    const platform::Notification& notification) {
  if (!entriesAreOwn_) return services().mainLoop->post([this] { decideHold(); });
  if (notification.object == kSenderHelper) return;
  readAgain();
}

bool SessionKeeper::mayRead() const {
  return !entries_->hasRunningAction() && !(ownerIsBusy_ && ownerIsBusy_());
}

void SessionKeeper::readAgain() {
  changedMeanwhile_ = save_ || !mayRead();
  if (changedMeanwhile_) return;
  entries_->readRamDisksFromDefaultLocation();
  QVLogInfo("SessionKeeper", "The list was read again: {} disks", entries_->ramDisks().size());
  decideHold();
}

void SessionKeeper::decideHold() {
  if (entries_->saveAtSessionEnd() && hasSomethingToSave(*entries_)) {
    services().sessionEnd->hold(QVLocalized("Saving the contents of the RAM disks"));
  } else {
    services().sessionEnd->release();
  }
}

// Without an announcement of its own the list may have changed unseen.
void SessionKeeper::announced() {
  if (saving_) return;
  readAgain();
  if (saveStep()) return saveEnded();
  saving_ = services().mainLoop->every(kPass, [this] {
    if (saveStep()) saveEnded();
  });
}

bool SessionKeeper::mayStart() { return !isBusy_() || ++passesBusy_ >= kBusyPasses; }

bool SessionKeeper::saveStep() {
  if (!save_) {
    if (!entries_->saveAtSessionEnd()) return true;
    if (!mayStart()) return false;
    save_ = std::make_unique<SessionSave>(entries_);
  }
  return save_->step();
}

void SessionKeeper::saveEnded() {
  cancel(saving_);
  hasLeftovers_ = hasLeftovers_ || (save_ && save_->hasLeftovers());
  save_.reset();
  passesBusy_ = 0;
  services().sessionEnd->release();
  cancel(holdingAgain_);
  holdingAgain_ = services().mainLoop->after(kHoldAgain, [this] {
    holdingAgain_.reset();
    decideHold();
  });
  if (changedMeanwhile_ && mayRead()) entries_->readRamDisksFromDefaultLocation();
}

void SessionKeeper::saveAndWait() {
  cancel(saving_);
  readAgain();
  while (!saveStep()) services().mainLoop->sleep(kPass);
  saveEnded();
}

}  // namespace app
