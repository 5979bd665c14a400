#include "app/SessionKeeper.h"

#include <algorithm>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "platform/Services.h"

namespace app {
namespace {

using platform::services;

// Nothing can be held while the system goes to sleep; by then it is awake again. Sleep does not
// count.
constexpr std::chrono::seconds kHoldAgain(30);

bool hasSomethingToSave(const QVRamDiskEntries& entries) {
  const auto& disks = entries.ramDisks();
  return std::any_of(disks.begin(), disks.end(),
                     [](const auto& disk) { return savingAction(*disk) != QVRamDiskActionNone; });
}

void cancel(std::optional<platform::MainLoop::TimerId>& timer) {
  if (timer) services().mainLoop->cancel(*timer);
  timer.reset();
}

}  // namespace

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
  saving_ = services().mainLoop->every(SessionSave::kPass, [this] {
    if (saveStep()) saveEnded();
  });
}

bool SessionKeeper::mayStart() { return !isBusy_() || ++passesBusy_ >= SessionSave::kBusyPasses; }

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
  while (!saveStep()) services().mainLoop->sleep(SessionSave::kPass);
  saveEnded();
}

}  // namespace app
