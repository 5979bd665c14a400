// What the controller holds, and how it keeps in step.
//
// Three sorts of news reach it. The registry refreshes the mounted disks each second and tells of
// each: that decides the warning. Another program that changed the file says so over the desktop's
// notifications: the list is read anew, unless something acts on its records; then the next opening
// of the menu reads it. And each action that was started here reports from its own thread: the
// reports are posted to the main thread by an object that stands between, and only the end counts.
//
// At that end, in this order: what the action did goes into the file, without the settings, which
// others may have changed meanwhile; the list is read again; others are told; a failure is shown;
// the disk's lock is given back. Until the first of these the list must not be read anew
// (isBusy()): what the action did would be lost with the record.

#include "menu/StatusMenuController.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <utility>

#include "core/QVError.h"
#include "core/QVLog.h"
#include "menu/RamDiskMenuItemView.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDiskPreferences.h"

using platform::services;

namespace {

constexpr char kStatusMenuTitle[] = "StatusItemMenu";
constexpr double kStatusItemLength = 28;             // points
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
  return !error || error->code() != QVErrorCode::Locked;
}

}  // namespace

// Brings what the registry and the ends of actions report to the controller on the main thread,
// without waiting, as long as there is one. It stands between them so that neither keeps the
// controller.
class StatusMenuController::Reports : public QVRamDiskEntriesDelegate, public QVRamDiskDelegate {
 public:
  explicit Reports(std::weak_ptr<StatusMenuController> controller)
      : controller_(std::move(controller)) {}

  // Only the end of an action is dealt with. A stage that was brought there late could not be told
  // from it any more.
  void ramDiskDidUpdated(const QVRamDiskPtr& ramDisk) override {
    if (ramDisk->action() != QVRamDiskActionNone) return;
    services().mainLoop->post([to = controller_, ramDisk] {
      if (const auto controller = to.lock()) controller->mt_ramDiskDidUpdated(ramDisk);
    });
  }
  void ramDiskEntries(QVRamDiskEntries&, const QVRamDiskPtr& ramDisk) override {
    ramDiskDidUpdated(ramDisk);
  }
  void ramDiskEntriesUpdator(QVRamDiskEntries&, const QVRamDiskPtr&) override {
    if (const auto controller = controller_.lock()) controller->updateDiskWarning();
  }

 private:
  const std::weak_ptr<StatusMenuController> controller_;
};

std::shared_ptr<StatusMenuController> StatusMenuController::make() {
  struct Constructible : StatusMenuController {};
  auto made = std::make_shared<Constructible>();
  const auto reports = std::make_shared<Reports>(made);
  made->reports_ = reports;
  made->ramDiskEntries_ = QVRamDiskEntries::initWithDelegate(reports);
  made->statusMenu_ = menu::Menu::qv_menuWithTitle<menu::Menu>(kStatusMenuTitle, made, false);
  return made;
}

std::shared_ptr<StatusMenuController> StatusMenuController::init(
    std::shared_ptr<menu::StatusBar> statusBar) {
  auto controller = make();
  controller->installStatusItem(std::move(statusBar));
  controller->ramDiskEntries_->readRamDisksFromDefaultLocation();
  controller->ramDiskEntries_->setUpdator(1);
  controller->updateDiskWarning();
  controller->observeNotifications();
  return controller;
}

std::shared_ptr<StatusMenuController> StatusMenuController::initForDisplay() { return make(); }

// An action that runs on keeps the registry, whose timer is to be given back on this thread.
StatusMenuController::~StatusMenuController() {
  ramDiskEntries_->setUpdator(0);
  for (const auto& observer : {entriesObserver_, styleObserver_})
    if (observer) services().notifications->remove(*observer);
}

void StatusMenuController::installStatusItem(std::shared_ptr<menu::StatusBar> statusBar) {
  statusBar_ = std::move(statusBar);
  statusItemView_ = menu::StatusItemView::initWithDelegate(shared_from_this());
  statusItemView_->setBadgeStyle(QVRamDiskPreferences::styleOfMainApplication());
  statusItem_ = statusBar_->statusItemWithLength(kStatusItemLength);
  statusItem_->setMenu(statusMenu_);
  statusItem_->setView(statusItemView_);
}

void StatusMenuController::observeNotifications() {
  auto& notifications = *services().notifications;
  const auto weak = weak_from_this();
  entriesObserver_ = notifications.observe(
      QVRamDiskEntriesDidChangeToAllNotification, [weak](const auto& notification) {
        if (const auto self = weak.lock())
          self->n_ramDiskEntriesDidChangeToAllNotification(notification);
      });
  styleObserver_ =
      notifications.observe(QVRamDiskPreferencesStatusItemIconStyleDidChangeNotification,
                            [weak](const auto& notification) {
                              if (const auto self = weak.lock())
                                self->n_preferencesStatusItemIconStyleDidChange(notification);
                            });
}

// What ended meanwhile could not be brought here while this thread waited.
void StatusMenuController::wantTerminate() {
  ramDiskEntries_->waitingEndAll();
  const auto acting = acting_;
  for (const auto& [ramDisk, what] : acting) mt_ramDiskDidUpdated(ramDisk);
  ramDiskEntries_->saveStatesOf({});  // what another program kept the list from
}

void StatusMenuController::activate() const {
  if (statusBar_) statusBar_->activateIgnoringOtherApps();
}

void StatusMenuController::statusItemViewPressed(menu::StatusItemView&) {
  statusItem_->popUpStatusItemMenu();
}

void StatusMenuController::menuNeedsUpdate(menu::Menu& menu) {
  menu.font = platform::Font{};  // of the system, in its regular size
  if (&menu == statusMenu_.get())
    loadRamDiskListMenu(menu);
  else
    loadDirectoryMenu(menu);
}

void StatusMenuController::menuWillOpen(menu::Menu& menu) {
  if (&menu == statusMenu_.get()) updateRowsForDisplay(true);
}

void StatusMenuController::menuDidClose(menu::Menu& menu) {
  if (&menu != statusMenu_.get()) return;
  if (statusItemView_) statusItemView_->setIsPressed(false);
  updateRowsForDisplay(false);
}

void StatusMenuController::updateRowsForDisplay(bool shown) const {
  for (const auto& item : statusMenu_->items())
    if (const auto row = std::dynamic_pointer_cast<menu::RamDiskMenuItemView>(item->view))
      row->updateForDisplay(shown);
}

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
  if (started.empty()) return;
  std::string told;
  for (const auto& notice : ramDisk->observed().notices)
    told += (told.empty() ? "" : "\n") + notice;
  if (!told.empty()) failures_->tell({ramDisk->displayName().value_or(""), told, {"Ok"}});
  const auto error = ramDisk->lastError();
  if (error) tellFailure(*ramDisk, error, started.mapped().action);
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
