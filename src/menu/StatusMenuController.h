#pragma once

#include <memory>
#include <optional>

#include "menu/Menu.h"
#include "menu/StatusBar.h"
#include "menu/StatusItemView.h"
#include "platform/Notifications.h"
#include "ramdisk/QVRamDiskEntries.h"

// The status menu: what it shows and what its items do. It owns the item in the status bar and a
// registry of its own, on which all its actions run. Main thread only, but for the reports of
// running actions. Held by a shared pointer.
class StatusMenuController : public menu::MenuDelegate,
                             public menu::StatusItemViewDelegate,
                             public QVRamDiskEntriesDelegate,
                             public QVRamDiskDelegate,
                             public std::enable_shared_from_this<StatusMenuController> {
 public:
  // Installs the item, reads the registry and follows it.
  static std::shared_ptr<StatusMenuController> init(std::shared_ptr<menu::StatusBar> statusBar);
  // For a look at the menu alone: nothing is installed, followed or refreshed.
  static std::shared_ptr<StatusMenuController> initForDisplay();
  ~StatusMenuController() override;

  const std::shared_ptr<QVRamDiskEntries>& ramDiskEntries() const { return ramDiskEntries_; }
  const menu::MenuPtr& statusMenu() const { return statusMenu_; }

  void wantTerminate();
  void synchronizeRamDiskEntries();
  void updateDiskWarning();

  // --- Reports

  void statusItemViewPressed(menu::StatusItemView& view) override;
  void ramDiskDidUpdated(const QVRamDiskPtr& ramDisk) override;
  void ramDiskEntries(QVRamDiskEntries& entries, const QVRamDiskPtr& ramDiskDidUpdated) override;
  void ramDiskEntriesUpdator(QVRamDiskEntries& entries,
                             const QVRamDiskPtr& ramDiskUpdated) override;

  // --- Building (StatusMenuController_List.cpp, _Disk.cpp, _Directory.cpp)

  void menuNeedsUpdate(menu::Menu& menu) override;
  void menuWillOpen(menu::Menu& menu) override;
  void menuDidClose(menu::Menu& menu) override;
  void loadRamDiskListMenu(menu::Menu& menu);
  void loadDirectoryMenu(menu::Menu& menu);
  menu::MenuItemPtr fileMenuItemWithPath(const std::string& path);

  // --- What items do (StatusMenuController_Actions.cpp)

  void mi_openRamDiskApp(menu::MenuItem& sender);
  void mi_openRamDisk(menu::MenuItem& sender);
  void mi_macInfo(menu::MenuItem& sender);
  void mi_purgeMacMemory(menu::MenuItem& sender);
  void mi_performAllAction(menu::MenuItem& sender);
  void mi_statusEject(menu::MenuItem& sender);
  void mi_rebuild(menu::MenuItem& sender);
  void mi_statusMount(menu::MenuItem& sender);
  void mi_menu(menu::MenuItem& sender);
  void mi_backupNow(menu::MenuItem& sender);
  void mi_cleanUp(menu::MenuItem& sender);
  void mi_openFile(menu::MenuItem& sender);
  void mi_cleanFolder(menu::MenuItem& sender);
  void mi_quitHelper(menu::MenuItem& sender);

 private:
  std::shared_ptr<menu::StatusBar> statusBar_;  // null for a look alone
  std::shared_ptr<menu::StatusItem> statusItem_;
  std::shared_ptr<menu::StatusItemView> statusItemView_;
  menu::MenuPtr statusMenu_;
  std::shared_ptr<QVRamDiskEntries> ramDiskEntries_;
  std::optional<platform::Notifications::ObserverId> entriesObserver_;
  std::optional<platform::Notifications::ObserverId> styleObserver_;
};
