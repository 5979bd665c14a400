#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "menu/FailureAlerts.h"
#include "menu/Menu.h"
#include "menu/StatusBar.h"
#include "menu/StatusItemView.h"
#include "platform/Files.h"
#include "platform/Session.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/QVRamDiskEntries.h"

// The status menu: what it shows and what its items do. It owns the item in the status bar and a
// registry of its own, on which all its actions run. Main thread only; reports of running actions
// are brought there. Held by a shared pointer, which neither menus nor running actions keep.
class StatusMenuController : public menu::MenuDelegate,
                             public menu::StatusItemViewDelegate,
                             public std::enable_shared_from_this<StatusMenuController> {
 public:
  // Installs the item, reads the registry and follows it.
  static std::shared_ptr<StatusMenuController> init(std::shared_ptr<menu::StatusBar> statusBar);
  // For a look at the menu alone: nothing is installed, followed or refreshed.
  static std::shared_ptr<StatusMenuController> initForDisplay();
  ~StatusMenuController() override;

  const std::shared_ptr<QVRamDiskEntries>& ramDiskEntries() const { return ramDiskEntries_; }
  const menu::MenuPtr& statusMenu() const { return statusMenu_; }

  // Blocks while an action runs, at most 30 seconds, and saves what those did that ended.
  void wantTerminate();
  // Saves what the action did that ended.
  void synchronizeRamDiskEntries(const QVRamDiskPtr& ramDisk);
  void updateDiskWarning();
  // An action runs, or has ended and is not saved yet: the list must not be read anew.
  bool isBusy() const;

  // --- Reports

  void statusItemViewPressed(menu::StatusItemView& view) override;
  // A stage of the record's action began, or the action ended.
  void mt_ramDiskDidUpdated(const QVRamDiskPtr& ramDisk);
  void n_ramDiskEntriesDidChangeToAllNotification(const platform::Notification& notification);
  void n_preferencesStatusItemIconStyleDidChange(const platform::Notification& notification);

  // --- Building (StatusMenuController_Building.cpp, _Folders.cpp)

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
  class Reports;
  class FileIcons;
  using Method = void (StatusMenuController::*)(menu::MenuItem&);
  struct Acting {
    ActionLock lock;
    QVRamDiskAction action;
  };

  StatusMenuController() = default;
  static std::shared_ptr<StatusMenuController> make();
  void installStatusItem(std::shared_ptr<menu::StatusBar> statusBar);
  void observeNotifications();
  void tellFailure(const QVRamDisk& ramDisk, const QVErrorPtr& error, QVRamDiskAction action);
  void noticeOtherRows();
  void activate() const;
  void updateRowsForDisplay(bool shown) const;

  // The record that the list has for this disk now; null when the disk is no longer listed.
  QVRamDiskPtr present(const QVRamDiskPtr& ramDisk) const;
  QVRamDiskPtr recordOf(const menu::MenuItem& item) const;
  std::optional<ActionLock> lockForActing(const QVRamDiskPtr& ramDisk);
  bool isStillAsShown(QVRamDiskAction action, const QVRamDiskPtr& ramDisk);
  QVRamDiskPtr diskShowing(const std::string& path) const;
  const ActionLock* noteActing(QVRamDiskAction action, const QVRamDiskPtr& ramDisk);
  void start(QVRamDiskAction action, const QVRamDiskPtr& ramDisk);
  void startAll(QVRamDiskAction action, const std::function<bool(const QVRamDisk&)>& concerns);

  menu::Action action(const char* name, Method method);
  menu::MenuItemPtr commandItem(std::string title, menu::Action action, const QVRamDiskPtr& ramDisk,
                                std::string_view icon);
  void addMemoryStatistics(menu::Menu& menu);
  void addPurging(menu::Menu& menu);
  void addCommandsOnAll(menu::Menu& menu);
  void addRamDisks(menu::Menu& menu);
  menu::MenuItemPtr ramDiskItem(const QVRamDiskPtr& ramDisk);
  void loadCommandsOf(const QVRamDiskPtr& ramDisk, menu::Menu& menu);
  void addMount(const QVRamDiskPtr& ramDisk, menu::Menu& menu);
  void addCreate(const QVRamDiskPtr& ramDisk, menu::Menu& menu);
  void addCommandsOfMounted(const QVRamDiskPtr& ramDisk, menu::Menu& menu);
  void addSaving(const QVRamDiskPtr& ramDisk, menu::Menu& menu);
  void listFolder(const std::string& folder, bool isVolumeRoot, menu::Menu& menu);
  menu::MenuItemPtr fileMenuItem(const std::string& path, platform::FileKind kind);

  std::shared_ptr<menu::StatusBar> statusBar_;  // null for a look alone
  std::shared_ptr<menu::StatusItem> statusItem_;
  std::shared_ptr<menu::StatusItemView> statusItemView_;
  menu::MenuPtr statusMenu_;
  std::shared_ptr<QVRamDiskEntries> ramDiskEntries_;
  std::shared_ptr<QVRamDiskDelegate> reports_;
  std::map<QVRamDiskPtr, Acting> acting_;  // started here, and their end not dealt with yet
  std::shared_ptr<menu::FailureAlerts> failures_ = std::make_shared<menu::FailureAlerts>();
  std::shared_ptr<FileIcons> fileIcons_;  // from the first that is asked for
  std::string rows_;                      // what the menu was last known to show of the disks
  std::optional<platform::Notifications::ObserverId> entriesObserver_;
  std::optional<platform::Notifications::ObserverId> styleObserver_;
};
