#include <algorithm>
#include <charconv>
#include <chrono>

#include "core/QVError.h"
#include "core/QVLog.h"
#include "menu/FailureText.h"
#include "menu/StatusMenuController.h"
#include "ramdisk/QVRamDiskPreferences.h"

namespace {

constexpr double kNearlyFull = 0.8;                  // of a volume
constexpr std::chrono::milliseconds kPatience(300);  // with who changes the list: the menu waits

// 0 for a text that begins with no number.
std::int64_t integerValue(const std::map<std::string, std::string>& texts, const char* key) {
  const auto found = texts.find(key);
  std::int64_t value = 0;
  if (found != texts.end())
    std::from_chars(found->second.data(), found->second.data() + found->second.size(), value);
  return value;
}

bool isNearlyFull(const QVRamDiskPtr& ramDisk) {
  return ramDisk->action() == QVRamDiskActionNone && ramDisk->status() == QVRamDiskStatus_mounted &&
         ramDisk->diskUsage() > kNearlyFull;
}

// An action that did not begin, because another program acts on the disk, knows nothing of its
// state.
bool didBegin(const QVRamDisk& ramDisk) {
  const auto error = ramDisk.lastError();
  return !error || error->reason() != "lock";
}

}  // namespace

// Others may have changed the file since it was read; only what the action did goes into it. While
// further actions run their records must stay.
void StatusMenuController::synchronizeRamDiskEntries(const QVRamDiskPtr& ramDisk) {
  std::vector<QVRamDiskPtr> observed;
  if (didBegin(*ramDisk)) observed.push_back(ramDisk);
  ramDiskEntries_->saveStatesOf(observed, kPatience);
  if (!isBusy()) ramDiskEntries_->readAgainKeepingStatesOf(observed);
}

void StatusMenuController::updateDiskWarning() {
  if (!statusItemView_) return;
  const auto& ramDisks = ramDiskEntries_->ramDisks();
  statusItemView_->setIsWarn(std::any_of(ramDisks.begin(), ramDisks.end(), isNearlyFull));
  noticeOtherRows();
}

// How full the disks are changes all the time, and is told when the menu opens.
void StatusMenuController::noticeOtherRows() {
  std::string rows;
  for (const auto& ramDisk : ramDiskEntries_->ramDisks())
    rows += fmt::format("{} {} {} {}\n", ramDisk->identifier().value_or(""),
                        ramDisk->displayName().value_or(""), std::int64_t{ramDisk->status()},
                        std::int64_t{ramDisk->action()});
  if (std::exchange(rows_, rows) != rows) statusMenu_->setNeedsUpdate();
}

bool StatusMenuController::isBusy() const {
  return !acting_.empty() || ramDiskEntries_->hasRunningAction();
}

void StatusMenuController::n_ramDiskEntriesDidChangeToAllNotification(
    const platform::Notification& notification) {
  if (notification.object != kSenderApp) return;
  if (isBusy()) return QVLogError("StatusMenuController", "hasRunningAction==YES");
  ramDiskEntries_->readRamDisksFromDefaultLocation();
  updateDiskWarning();
}

void StatusMenuController::n_preferencesStatusItemIconStyleDidChange(
    const platform::Notification& notification) {
  QVLog::logDebug(fmt::format("notification:{}", notification.name));
  if (!statusItemView_) return;
  statusItemView_->setBadgeStyle(integerValue(notification.userInfo, kStatusItemIconStyleKey));
}

void StatusMenuController::mt_ramDiskDidUpdated(const QVRamDiskPtr& ramDisk) {
  if (ramDisk->action() != QVRamDiskActionNone) return;
  const auto started = acting_.extract(ramDisk);
  synchronizeRamDiskEntries(ramDisk);
  QVRamDiskEntries::postDidChangeToAllNotificationWithSender(kSenderHelper);
  updateDiskWarning();
  const auto error = ramDisk->lastError();
  if (!started.empty() && error) tellFailure(*ramDisk, error, started.mapped().action);
}

// Nobody waits for what was started from a menu, and the menu is closed when it fails.
void StatusMenuController::tellFailure(const QVRamDisk& ramDisk, const QVErrorPtr& error,
                                       QVRamDiskAction action) {
  const std::string name = ramDisk.displayName().value_or("");
  QVLogError("StatusMenuController", "{} error:{}", name, QVDescription(error));
  if (error->isNotified()) return;
  error->setIsNotified(true);
  failures_->tell({name, menu::failureText(*error, ramDisk, action), {"Ok"}});
}
