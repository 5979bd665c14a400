#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "kinds/QVRamDiskManager.h"
#include "menu/StatusMenuController.h"
#include "menu/StatusMenuRules.h"
#include "system/QVFunctions.h"
#include "system/QVRamDiskFunctions.h"

using menu::Menu;
using menu::MenuItem;
using menu::MenuItemPtr;

namespace {

constexpr char kDiskTable[] = "QVRamDiskLocalizable";
constexpr double kIconPoints = 16;

// The system's pictures by their classic names.
constexpr std::string_view kRemovableMedia = "rmov";
constexpr std::string_view kEjectSymbol = "ejec";
constexpr std::string_view kBurning = "burn";
constexpr std::string_view kFullTrash = "ftrh";

// Its row cannot be opened while an action runs, so one has begun since the menu was built.
void reportRunningAction(QVRamDiskAction running) {
  if (running == QVRamDiskActionNone) return;
  qvlog::critical({__func__, __LINE__}, "StatusMenuController", "StatusMenuController",
                  fmt::format("Action is running:{}", static_cast<std::int64_t>(running)),
                  "Action is running:%ld");
}

}  // namespace

void StatusMenuController::loadCommandsOf(const QVRamDiskPtr& ramDisk, Menu& menu) {
  reportRunningAction(ramDisk->action());
  switch (ramDisk->status()) {
    case QVRamDiskStatus_created:
      return addMount(ramDisk, menu);
    case QVRamDiskStatus_mounted:
      return addCommandsOfMounted(ramDisk, menu);
    default:
      return addCreate(ramDisk, menu);
  }
}

MenuItemPtr StatusMenuController::commandItem(std::string title, menu::Action action,
                                              const QVRamDiskPtr& ramDisk, std::string_view icon) {
  auto item = MenuItem::qv_menuItem(std::move(title), std::move(action), ramDisk, true);
  item->image = QVFunctions::wsIconForFileHFSType(icon, kIconPoints);
  return item;
}

// Enabled while the kind's application runs, and only then: users of the program know it so.
void StatusMenuController::addMount(const QVRamDiskPtr& ramDisk, Menu& menu) {
  QVRamDiskManager::Message message;
  const auto item = commandItem(QVLocalized("Mount", kDiskTable),
                                action("mi_statusMount:", &StatusMenuController::mi_statusMount),
                                ramDisk, kRemovableMedia);
  item->isEnabled = QVRamDiskManager::hasRunningAppForType(ramDisk->type(), &message);
  item->toolTip = message;
  menu.addItem(item);
}

void StatusMenuController::addCreate(const QVRamDiskPtr& ramDisk, Menu& menu) {
  QVRamDiskManager::Message message;
  const auto item =
      commandItem(QVLocalized("Create", kDiskTable),
                  action("mi_menu:", &StatusMenuController::mi_menu), ramDisk, kRemovableMedia);
  item->tag = menu::kCreateTag;
  item->isEnabled = QVRamDiskManager::canCreateWithName(
      ramDisk->name(), ramDisk->size(), ramDisk->type(), ramDisk->mountDirectory(), message);
  item->toolTip = message;
  menu.addItem(item);
}

void StatusMenuController::addCommandsOfMounted(const QVRamDiskPtr& ramDisk, Menu& menu) {
  QVRamDiskManager::Message message;
  const bool isAllowed = QVRamDiskManager::canCreateWithName(
      ramDisk->name(), ramDisk->size(), ramDisk->type(), ramDisk->mountDirectory(), message);
  const auto addGated = [&](const std::string& title, menu::Action perform, std::string_view icon) {
    const auto item = commandItem(title, std::move(perform), ramDisk, icon);
    item->isEnabled = isAllowed;
    item->toolTip = message;
    menu.addItem(item);
  };
  addGated(QVLocalized("Eject", kDiskTable),
           action("mi_statusEject:", &StatusMenuController::mi_statusEject), kEjectSymbol);
  addGated(QVLocalized("Rebuild", kDiskTable),
           action("mi_rebuild:", &StatusMenuController::mi_rebuild), kBurning);
  addSaving(ramDisk, menu);
  if (ramDisk->type() != QVRamDiskType_CoreSimulator)
    addGated(QVLocalized("Delete All Files"),
             action("mi_cleanUp:", &StatusMenuController::mi_cleanUp), kFullTrash);
}

void StatusMenuController::addSaving(const QVRamDiskPtr& ramDisk, Menu& menu) {
  const bool intoBase = menu::isSynchronised(*ramDisk);
  if (!intoBase && !menu::isBackedUp(*ramDisk)) return;
  const auto item =
      MenuItem::qv_menuItem(intoBase ? QVLocalized("Synchronise Now") : QVLocalized("Backup Now"),
                            action("mi_backupNow:", &StatusMenuController::mi_backupNow), ramDisk,
                            intoBase ? menu::kSynchroniseNowTag : menu::kBackupNowTag, true);
  item->image = QVRamDiskFunctions::icon16Named("syncIcon");
  menu.addItem(item);
}
