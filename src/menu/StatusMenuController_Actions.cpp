#include <cerrno>

#include "core/QVError.h"
#include "core/QVLog.h"
#include "kinds/QVRamDiskManager.h"
#include "menu/StatusMenuController.h"
#include "menu/StatusMenuReports.h"
#include "menu/StatusMenuRules.h"
#include "platform/Services.h"
#include "system/QVRamDiskUtils.h"

using menu::MenuItem;
using platform::services;

namespace {

bool mayBeReplaced(const QVRamDisk& disk) {
  return !QVRamDiskManager::hasRunningAppForType(disk.type(), nullptr);
}

}  // namespace

void StatusMenuController::startAll(QVRamDiskAction action,
                                    const std::function<bool(const QVRamDisk&)>& concerns) {
  for (const auto& ramDisk : ramDiskEntries_->ramDisks())
    if (concerns(*ramDisk)) start(action, ramDisk);
}

void StatusMenuController::mi_openRamDiskApp(MenuItem&) {
  const auto path = QVRamDiskUtils::ramDiskAppPath();
  const platform::Failure error =
      path ? services().workspace->launch(*path, {})
           : platform::SystemError{"POSIX", ENOENT, "the application is not installed"};
  if (error)
    QVLogError("StatusMenuController", "launchApplication==NO path:{} error:{}", QVText(path),
               QVDescription(*error));
}

void StatusMenuController::mi_openRamDisk(MenuItem& sender) {
  const auto ramDisk = recordOf(sender);
  const auto path = ramDisk ? ramDisk->path() : std::nullopt;
  if (path) services().workspace->open(*path);
}

void StatusMenuController::mi_macInfo(MenuItem&) {
  if (const auto url = QVRamDiskUtils::activityMonitorURL()) services().workspace->openURL(*url);
}

void StatusMenuController::mi_purgeMacMemory(MenuItem&) { QVRamDiskUtils::purgeMemory(); }

// Disks that are created and not mounted enable "Eject All" and are not touched by it.
void StatusMenuController::mi_performAllAction(MenuItem& sender) {
  switch (sender.tag) {
    case menu::kCreateAllTag:
      return startAll(QVRamDiskActionCreate, [](const auto& disk) {
        return disk.status() == QVRamDiskStatus_notCreated && mayBeReplaced(disk);
      });
    case menu::kEjectAllTag:
      return startAll(QVRamDiskActionEject, [](const auto& disk) {
        return disk.status() == QVRamDiskStatus_mounted && mayBeReplaced(disk);
      });
    case menu::kSynchroniseAllTag:
      return startAll(QVRamDiskActionSyncWithBase, [](const auto& disk) {
        return menu::isMountedAndIdle(disk) && menu::isSynchronised(disk);
      });
    case menu::kBackupAllTag:
      return startAll(QVRamDiskActionBackup, [](const auto& disk) {
        return menu::isMountedAndIdle(disk) && menu::isBackedUp(disk);
      });
    default:
      return;
  }
}

void StatusMenuController::mi_statusEject(MenuItem& sender) {
  start(QVRamDiskActionEject, recordOf(sender));
}

void StatusMenuController::mi_rebuild(MenuItem& sender) {
  start(QVRamDiskActionRebuild, recordOf(sender));
}

void StatusMenuController::mi_statusMount(MenuItem& sender) {
  start(QVRamDiskActionRemount, recordOf(sender));
}

void StatusMenuController::mi_menu(MenuItem& sender) {
  if (sender.tag == menu::kCreateTag) start(QVRamDiskActionCreate, recordOf(sender));
}

void StatusMenuController::mi_backupNow(MenuItem& sender) {
  const auto ramDisk = recordOf(sender);
  if (sender.tag != menu::kBackupNowTag && sender.tag != menu::kSynchroniseNowTag) return;
  const auto action =
      sender.tag == menu::kBackupNowTag ? QVRamDiskActionBackup : QVRamDiskActionSyncWithBase;
  if (noteActing(action, ramDisk)) ramDisk->performAction(action, reports_, 1);
}

void StatusMenuController::mi_cleanUp(MenuItem& sender) {
  if (!sender.represented<QVRamDiskPtr>())
    QVLogCriticalException("StatusMenuController", "ramDisk==nil");
  activate();
  const auto ramDisk = recordOf(sender);
  if (noteActing(QVRamDiskActionCleanUpFiles, ramDisk)) ramDisk->startCleanUp(reports_);
}

void StatusMenuController::mi_openFile(MenuItem& sender) {
  services().workspace->open(sender.represented<std::string>());
}

void StatusMenuController::mi_cleanFolder(MenuItem& sender) {
  const auto path = sender.represented<std::string>();
  if (!isStillShown(path))
    return QVLogWarning("StatusMenuController", "{} is on no disk; nothing is done", path);
  if (const auto error = services().files->remove(path))
    QVLogError("StatusMenuController", "removeItemAtPath==NO sender.representedObject:{} error:{}",
               path, QVDescription(*error));
}

void StatusMenuController::mi_quitHelper(MenuItem&) {
  if (statusBar_) statusBar_->terminate();
}
