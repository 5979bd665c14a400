// What the status menu and a disk's submenu offer. Both are emptied and built when they open: the
// top from the registry, a submenu from the record that the list has by then.

#include <algorithm>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "kinds/QVRamDiskManager.h"
#include "menu/RamDiskMenuItemView.h"
#include "menu/StatusMenuController.h"
#include "menu/StatusMenuRules.h"
#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVFunctions.h"
#include "system/QVMacInfo.h"
#include "system/QVRamDiskFunctions.h"
#include "system/QVRamDiskUtils.h"

using menu::Menu;
using menu::MenuItem;
using menu::MenuItemPtr;
using platform::services;

namespace {

constexpr char kTable[] = "QVRamDiskLocalizable";
constexpr platform::Rect kRowFrame{0, 0, 260, 40};
constexpr double kIconPoints = 16;
constexpr int kFigureIndentation = 2;

// The system's pictures by their classic names.
constexpr std::string_view kRemovableMedia = "rmov";
constexpr std::string_view kEjectSymbol = "ejec";
constexpr std::string_view kBurning = "burn";
constexpr std::string_view kFullTrash = "ftrh";

platform::ImagePtr ramDiskAppIcon() {
  static Kept<platform::ImagePtr> kept;
  return kept.get(services().graphics, [] {
    const auto path = QVRamDiskUtils::ramDiskAppPath();
    if (!path) return platform::ImagePtr();
    return services().graphics->resized(services().graphics->iconForFile(*path),
                                        {kIconPoints, kIconPoints});
  });
}

std::string figureTitle(const std::string& label, std::uint64_t bytes) {
  const auto figure =
      QVRamDiskFunctions::stringFromBytesWithBin1024Style(static_cast<std::int64_t>(bytes));
  return label + QVLocalized("LOC_:", kTable) + " " + figure.value_or("");
}

// What of all disks decides the commands for all of them.
struct Counts {
  std::size_t creatable = 0;
  std::size_t ejectable = 0;
  std::size_t synchronisable = 0;
  std::size_t backupable = 0;
};

Counts counted(const std::vector<QVRamDiskPtr>& disks) {
  Counts counts;
  for (const auto& disk : disks) {
    ++(menu::hasDevice(disk->status()) ? counts.ejectable : counts.creatable);
    if (!menu::isMountedAndIdle(*disk)) continue;
    if (disk->isSavedIntoBase())
      ++counts.synchronisable;
    else if (menu::isBackedUp(*disk))
      ++counts.backupable;
  }
  return counts;
}

// Whether the disk may be made, or made anew, now, and what to say where not.
struct Permission {
  bool isGiven = false;
  QVRamDiskManager::Message message;
};

Permission permissionFor(const QVRamDisk& disk) {
  Permission found;
  found.isGiven = QVRamDiskManager::canCreateWithName(disk.name(), disk.size(), disk.type(),
                                                      disk.mountDirectory(), found.message);
  return found;
}

// Its row cannot be opened while an action runs, so one has begun since the menu was built.
void reportRunningAction(QVRamDiskAction running) {
  if (running == QVRamDiskActionNone) return;
  qvlog::critical({__func__, __LINE__}, "StatusMenuController", "StatusMenuController",
                  fmt::format("Action is running:{}", static_cast<std::int64_t>(running)),
                  "Action is running:%ld");
}

}  // namespace

void StatusMenuController::loadRamDiskListMenu(Menu& menu) {
  if (!isBusy()) ramDiskEntries_->readRamDisksFromDefaultLocation();
  fileIcons_ = nullptr;  // the desktop may show others by now
  menu.removeAllItems();
  menu.addItem(MenuItem::qv_menuItem(
      QVLocalized("Open Tarnvale"),
      action("mi_openRamDiskApp:", &StatusMenuController::mi_openRamDiskApp), {}, true));
  menu.qv_lastItem()->image = ramDiskAppIcon();
  addMemoryStatistics(menu);
  addPurging(menu);
  if (ramDiskEntries_->ramDisks().empty()) {
    menu.addItem(MenuItem::qv_menuItem(QVLocalized("No RamDisk"), {}, {}, false));
  } else {
    addCommandsOnAll(menu);
    addRamDisks(menu);
  }
  menu.addItem(MenuItem::separatorItem());
  menu.addItem(MenuItem::qv_menuItem(QVLocalized("Quit Tarnvale Menu"),
                                     action("mi_quitHelper:", &StatusMenuController::mi_quitHelper),
                                     {}, true));
}

void StatusMenuController::addMemoryStatistics(Menu& menu) {
  QVMemoryStatistics memory;
  if (!QVMacInfo::getMemoryStatistics(memory)) return;
  const auto add = [&](const std::string& title, int indentation) {
    menu.addItem(MenuItem::qv_menuItem(
        title, action("mi_macInfo:", &StatusMenuController::mi_macInfo), {}, false));
    menu.qv_lastItem()->indentationLevel = indentation;
  };
  const auto addFigure = [&](const std::string& label, std::uint64_t bytes) {
    add(figureTitle(label, bytes), kFigureIndentation);
  };
  menu.addItem(MenuItem::separatorItem());
  add(QVLocalized("Memory Statistics", kTable), 0);
  addFigure(QVLocalized("Wired", kTable), memory.wiredBytes);
  addFigure(QVLocalized("Free", kTable), memory.freeBytes);
  if (memory.purgeableBytes != 0)
    addFigure(QVLocalized("Purgeable", kTable), memory.purgeableBytes);
  if (memory.compressedBytes != 0)
    addFigure(QVLocalized("Compressed", kTable), memory.compressedBytes);
}

void StatusMenuController::addPurging(Menu& menu) {
  if (!QVRamDiskUtils::canPurgeMemory()) return;
  menu.addItem(MenuItem::separatorItem());
  menu.addItem(MenuItem::qv_menuItem(
      QVLocalized("Free Up Inactive Memory", kTable),
      action("mi_purgeMacMemory:", &StatusMenuController::mi_purgeMacMemory), {}, true));
}

void StatusMenuController::addCommandsOnAll(Menu& menu) {
  const Counts counts = counted(ramDiskEntries_->ramDisks());
  const auto add = [&](const std::string& title, std::int64_t tag, bool isEnabled) {
    menu.addItem(MenuItem::qv_menuItem(
        title, action("mi_performAllAction:", &StatusMenuController::mi_performAllAction), {}, tag,
        isEnabled));
  };
  menu.addItem(MenuItem::separatorItem());
  add(QVLocalized("Create All"), menu::kCreateAllTag, counts.creatable > 0);
  add(QVLocalized("Eject All"), menu::kEjectAllTag, counts.ejectable > 0);
  if (counts.synchronisable > 0)
    add(QVLocalized("Synchronise All"), menu::kSynchroniseAllTag, true);
  if (counts.backupable > 0) add(QVLocalized("Backup All"), menu::kBackupAllTag, true);
}

void StatusMenuController::addRamDisks(Menu& menu) {
  menu.addItem(MenuItem::separatorItem());
  for (const auto& ramDisk : ramDiskEntries_->ramDisks()) menu.addItem(ramDiskItem(ramDisk));
}

MenuItemPtr StatusMenuController::ramDiskItem(const QVRamDiskPtr& ramDisk) {
  const auto running = ramDisk->action();
  auto item =
      MenuItem::qv_menuItem(ramDisk->displayName().value_or(""),
                            action("mi_openRamDisk:", &StatusMenuController::mi_openRamDisk),
                            ramDisk, running == QVRamDiskActionNone);
  const auto row = std::make_shared<menu::RamDiskMenuItemView>(kRowFrame, *ramDisk, running,
                                                               ramDisk->lastActionInfo());
  row->enclosingMenuItem = item;
  item->view = row;
  const auto submenu = Menu::qv_menuWithTitle<menu::QVNSMenuRepresentedObject>(
      menu::kRamDiskMenuTitle, shared_from_this(), false);
  submenu->setRepObject(ramDisk);
  item->submenu = submenu;
  return item;
}

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
  const auto item = commandItem(QVLocalized("Mount", kTable),
                                action("mi_statusMount:", &StatusMenuController::mi_statusMount),
                                ramDisk, kRemovableMedia);
  item->isEnabled = QVRamDiskManager::hasRunningAppForType(ramDisk->type(), &message);
  item->toolTip = message;
  menu.addItem(item);
}

void StatusMenuController::addCreate(const QVRamDiskPtr& ramDisk, Menu& menu) {
  const Permission permission = permissionFor(*ramDisk);
  const auto item =
      commandItem(QVLocalized("Create", kTable), action("mi_menu:", &StatusMenuController::mi_menu),
                  ramDisk, kRemovableMedia);
  item->tag = menu::kCreateTag;
  item->isEnabled = permission.isGiven;
  item->toolTip = permission.message;
  menu.addItem(item);
}

void StatusMenuController::addCommandsOfMounted(const QVRamDiskPtr& ramDisk, Menu& menu) {
  const Permission permission = permissionFor(*ramDisk);
  const auto addGated = [&](const std::string& title, menu::Action perform, std::string_view icon) {
    const auto item = commandItem(title, std::move(perform), ramDisk, icon);
    item->isEnabled = permission.isGiven;
    item->toolTip = permission.message;
    menu.addItem(item);
  };
  addGated(QVLocalized("Eject", kTable),
           action("mi_statusEject:", &StatusMenuController::mi_statusEject), kEjectSymbol);
  addGated(QVLocalized("Rebuild", kTable), action("mi_rebuild:", &StatusMenuController::mi_rebuild),
           kBurning);
  addSaving(ramDisk, menu);
  if (ramDisk->type() == QVRamDiskType_CoreSimulator) return;
  addGated(QVLocalized("Delete All Files"),
           action("mi_cleanUp:", &StatusMenuController::mi_cleanUp), kFullTrash);
  menu.qv_lastItem()->isDestructive = true;
}

void StatusMenuController::addSaving(const QVRamDiskPtr& ramDisk, Menu& menu) {
  const bool intoBase = ramDisk->isSavedIntoBase();
  if (!intoBase && !menu::isBackedUp(*ramDisk)) return;
  const auto item =
      MenuItem::qv_menuItem(intoBase ? QVLocalized("Synchronise Now") : QVLocalized("Backup Now"),
                            action("mi_backupNow:", &StatusMenuController::mi_backupNow), ramDisk,
                            intoBase ? menu::kSynchroniseNowTag : menu::kBackupNowTag, true);
  item->image = QVRamDiskFunctions::icon16Named("syncIcon");
  menu.addItem(item);
}
