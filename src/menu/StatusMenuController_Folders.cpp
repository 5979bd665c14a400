// Browsing the folders of a disk.
//
// A folder's menu is titled with its path and filled each time it opens, so that nothing is read
// before somebody looks, and what is shown is what is there. Of its entries each is looked at once,
// for whether it is a folder, which decides its own submenu and, with its name, its icon.

#include <map>
#include <unordered_map>

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
using platform::ImagePtr;
using platform::services;

namespace {

constexpr double kFileIconPoints = 16;

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

// Empty for a name that has none; what a name begins with is no extension.
std::string extensionOf(const std::string& path) {
  const auto name = path.rfind('/') + 1;
  const auto dot = path.rfind('.');
  return dot == std::string::npos || dot <= name ? "" : path.substr(dot + 1);
}

}  // namespace

// Files with one extension look alike, so that a folder of thousands asks for few icons; folders,
// which may have an icon of their own, and names without an extension are asked for one by one.
class StatusMenuController::FileIcons {
 public:
  // 16 points. `kind` is what is at the path.
  ImagePtr icon(const std::string& path, FileKind kind);

 private:
  ImagePtr small(const ImagePtr& image);

  std::unordered_map<std::string, ImagePtr> byExtension_;
  std::map<ImagePtr, ImagePtr> small_;  // by the picture in its own size
};

ImagePtr StatusMenuController::FileIcons::icon(const std::string& path, FileKind kind) {
  const std::string extension = kind == FileKind::Other ? extensionOf(path) : "";
  if (extension.empty()) return small(services().graphics->iconForFile(path));
  const auto known = byExtension_.find(extension);
  if (known != byExtension_.end()) return known->second;
  return byExtension_[extension] = small(services().graphics->iconForFile(path));
}

ImagePtr StatusMenuController::FileIcons::small(const ImagePtr& image) {
  const auto known = small_.find(image);
  if (known != small_.end()) return known->second;
  return small_[image] = services().graphics->resized(image, {kFileIconPoints, kFileIconPoints});
}

// A submenu is opened later than it was made: the list may know more of the disk by now.
void StatusMenuController::loadDirectoryMenu(Menu& menu) {
  menu.removeAllItems();
  if (menu.title() != menu::kRamDiskMenuTitle) {
    menu.addItem(MenuItem::qv_menuItem(
        QVLocalized("Remove this Folder"),
        action("mi_cleanFolder:", &StatusMenuController::mi_cleanFolder), menu.title(), true));
    menu.qv_lastItem()->isDestructive = true;
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
  if (!fileIcons_) fileIcons_ = std::make_shared<FileIcons>();
  item->image = fileIcons_->icon(path, kind);
  return item;
}
