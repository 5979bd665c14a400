#include "menu/StatusMenuController.h"

#include "menu/RamDiskMenuItemView.h"
#include "menu/StatusMenuReports.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDiskPreferences.h"

using platform::services;

namespace {

constexpr char kStatusMenuTitle[] = "StatusItemMenu";
constexpr double kStatusItemLength = 28;  // points

}  // namespace

std::shared_ptr<StatusMenuController> StatusMenuController::make() {
  struct Constructible : StatusMenuController {};
  auto made = std::make_shared<Constructible>();
  made->reports_ = std::make_shared<Reports>(made);
  made->statusMenu_ = menu::Menu::qv_menuWithTitle<menu::Menu>(kStatusMenuTitle, made, false);
  return made;
}

std::shared_ptr<StatusMenuController> StatusMenuController::init(
    std::shared_ptr<menu::StatusBar> statusBar) {
  auto controller = make();
  controller->installStatusItem(std::move(statusBar));
  controller->ramDiskEntries_ = QVRamDiskEntries::initWithDelegate(controller->reports_);
  controller->ramDiskEntries_->readRamDisksFromDefaultLocation();
  controller->ramDiskEntries_->setUpdator(1);
  controller->updateDiskWarning();
  controller->observeNotifications();
  return controller;
}

std::shared_ptr<StatusMenuController> StatusMenuController::initForDisplay() {
  auto controller = make();
  controller->ramDiskEntries_ = QVRamDiskEntries::initWithDelegate(controller->reports_);
  return controller;
}

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
