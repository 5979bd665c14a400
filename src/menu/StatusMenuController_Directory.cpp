#include "core/QVLocalized.h"
#include "extensions/PathExtension.h"
#include "menu/StatusMenuController.h"
#include "menu/StatusMenuRules.h"
#include "platform/Services.h"
#include "system/QVFinderTools.h"

using menu::Menu;
using menu::MenuItem;
using menu::MenuItemPtr;
using platform::FileKind;
using platform::services;

namespace {

bool isHidden(const std::string& name, bool isVolumeRoot) {
  if (isVolumeRoot && QVFinderTools::isVolumeSystemHiddenFilename(name, 0)) return true;
  return QVFinderTools::isSystemFileNameInFolder(name, 0);
}

// What a folder that cannot be read shows.
std::vector<std::string> namesIn(const std::string& folder) {
  auto names = services().files->names(folder);
  return names ? std::move(*names) : std::vector<std::string>();
}

void addSeparatorBelowItems(Menu& menu) {
  if (menu.qv_lastItem()) menu.addItem(MenuItem::separatorItem());
}

QVRamDiskPtr representedRamDisk(const Menu& menu) {
  const auto* owner = dynamic_cast<const menu::QVNSMenuRepresentedObject*>(&menu);
  const auto* ramDisk = owner ? std::any_cast<QVRamDiskPtr>(&owner->repObject()) : nullptr;
  return ramDisk ? *ramDisk : nullptr;
}

}  // namespace

// A submenu is opened later than it was made: the list may know more of the disk by now.
void StatusMenuController::loadDirectoryMenu(Menu& menu) {
  menu.removeAllItems();
  if (menu.title() != menu::kRamDiskMenuTitle) {
    menu.addItem(MenuItem::qv_menuItem(
        QVLocalized("Remove this Folder"),
        action("mi_cleanFolder:", &StatusMenuController::mi_cleanFolder), menu.title(), true));
    return listFolder(menu.title(), false, menu);
  }
  auto ramDisk = representedRamDisk(menu);
  if (!ramDisk) return;
  if (const auto known = present(ramDisk)) ramDisk = known;
  loadCommandsOf(ramDisk, menu);
  const auto path = ramDisk->path();
  if (ramDisk->status() == QVRamDiskStatus_mounted && path) listFolder(*path, true, menu);
}

void StatusMenuController::listFolder(const std::string& folder, bool isVolumeRoot, Menu& menu) {
  bool isEmpty = true;
  for (const auto& name : namesIn(folder)) {
    if (isHidden(name, isVolumeRoot)) continue;
    if (isEmpty) addSeparatorBelowItems(menu);
    isEmpty = false;
    const std::string path = extensions::appendingPathComponent(folder, name);
    const auto kind = services().files->kind(path);
    menu.addItem(fileMenuItem(path, kind));
    if (kind == FileKind::Directory)
      menu.qv_lastItem()->submenu = Menu::qv_menuWithTitle<Menu>(path, shared_from_this(), false);
  }
  if (!isEmpty) return;
  addSeparatorBelowItems(menu);
  menu.addItem(MenuItem::qv_menuItem(QVLocalized("(No File Here)"), {}, {}, false));
}

MenuItemPtr StatusMenuController::fileMenuItemWithPath(const std::string& path) {
  return fileMenuItem(path, services().files->kind(path));
}

MenuItemPtr StatusMenuController::fileMenuItem(const std::string& path, FileKind kind) {
  auto item =
      MenuItem::qv_menuItem(services().workspace->displayName(path),
                            action("mi_openFile:", &StatusMenuController::mi_openFile), path, true);
  item->image = fileIcons_.icon(path, kind);
  return item;
}
