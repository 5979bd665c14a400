#include <algorithm>

#include "core/QVLocalized.h"
#include "menu/RamDiskMenuItemView.h"
#include "menu/StatusMenuController.h"
#include "menu/StatusMenuRules.h"
#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVMacInfo.h"
#include "system/QVRamDiskFunctions.h"
#include "system/QVRamDiskUtils.h"

using menu::Menu;
using menu::MenuItem;
using menu::MenuItemPtr;
using platform::services;

namespace {

constexpr char kListTable[] = "QVRamDiskLocalizable";
constexpr platform::Rect kRowFrame{0, 0, 260, 40};
constexpr platform::Size kIconSize{16, 16};
constexpr int kFigureIndentation = 2;

platform::ImagePtr ramDiskAppIcon() {
  static Kept<platform::ImagePtr> kept;
  return kept.get(services().graphics, [] {
    const auto path = QVRamDiskUtils::ramDiskAppPath();
    if (!path) return platform::ImagePtr();
    return services().graphics->resized(services().graphics->iconForFile(*path), kIconSize);
  });
}

std::string figureTitle(const std::string& label, std::uint64_t bytes) {
  const auto figure =
      QVRamDiskFunctions::stringFromBytesWithBin1024Style(static_cast<std::int64_t>(bytes));
  return label + QVLocalized("LOC_:", kListTable) + " " + figure.value_or("");
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
    if (menu::isSynchronised(*disk))
      ++counts.synchronisable;
    else if (menu::isBackedUp(*disk))
      ++counts.backupable;
  }
  return counts;
}

}  // namespace

void StatusMenuController::loadRamDiskListMenu(Menu& menu) {
  if (!isBusy()) ramDiskEntries_->readRamDisksFromDefaultLocation();
  fileIcons_.forget();
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
  add(QVLocalized("Memory Statistics", kListTable), 0);
  addFigure(QVLocalized("Wired", kListTable), memory.wiredBytes);
  addFigure(QVLocalized("Free", kListTable), memory.freeBytes);
  if (memory.purgeableBytes != 0)
    addFigure(QVLocalized("Purgeable", kListTable), memory.purgeableBytes);
  if (memory.compressedBytes != 0)
    addFigure(QVLocalized("Compressed", kListTable), memory.compressedBytes);
}

void StatusMenuController::addPurging(Menu& menu) {
  if (!QVRamDiskUtils::canPurgeMemory()) return;
  menu.addItem(MenuItem::separatorItem());
  menu.addItem(MenuItem::qv_menuItem(
      QVLocalized("Free Up Inactive Memory", kListTable),
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
