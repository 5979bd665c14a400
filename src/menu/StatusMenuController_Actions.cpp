// From a click to what is done to a disk.
//
// An item carries the record that it was made for, and may be clicked much later: the list has been
// read anew since, with other records; another program has ejected the disk, or made it; the
// helper's start works on it with a record of its own. So a click goes four steps:
//
//   recordOf         the record that the list has for the disk by now; none, and nothing is done,
//                    when it is no longer listed. What an action did to any other record would be
//                    lost when the list is saved.
//   lockForActing    the disk's lock, or the user is told that another program works on it.
//   isStillAsShown   with the lock in hand one more look at the disk: what made sense when the menu
//                    was built need not make sense any more.
//   noteActing       keeps lock and action in acting_ until the end is saved
//                    (mt_ramDiskDidUpdated), so that nobody acts on a state that no file tells.
//
// The action itself runs on a thread of its own, and its guards are the engine's: these steps only
// spare it what is known to be in vain.

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "core/QVError.h"
#include "core/QVLog.h"
#include "kinds/QVRamDiskManager.h"
#include "menu/StatusMenuController.h"
#include "menu/StatusMenuRules.h"
#include "platform/Services.h"
#include "ramdisk/RegistryFile.h"
#include "system/QVRamDiskUtils.h"

using menu::MenuItem;
using platform::services;

namespace {

// The menu stands still meanwhile.
constexpr std::chrono::milliseconds kLockPatience(300);

bool allows(QVRamDiskStatus status, QVRamDiskAction action) {
  switch (action) {
    case QVRamDiskActionCreate:
      return !menu::hasDevice(status);
    case QVRamDiskActionRemount:
      return status != QVRamDiskStatus_mounted;
    default:
      return status == QVRamDiskStatus_mounted;
  }
}

// The file knows the device of a disk that another program made since the list was read.
void takeUpFromFile(QVRamDisk& disk) {
  const auto path = RegistryFile::defaultPath();
  const auto contents = path ? RegistryFile(*path).read() : std::nullopt;
  if (!contents) return;
  for (const auto& known : contents->ramDisks) {
    if (known->identifier() != disk.identifier()) continue;
    known->update();
    if (!menu::hasDevice(known->status())) continue;
    disk.setDeviceNode(known->deviceNode());
    disk.setPath(known->path());
    disk.update();
  }
}

bool mayBeReplaced(const QVRamDisk& disk) {
  return !QVRamDiskManager::hasRunningAppForType(disk.type(), nullptr);
}

}  // namespace

menu::Action StatusMenuController::action(const char* name, Method method) {
  return menu::action(shared_from_this(), name, method);
}

QVRamDiskPtr StatusMenuController::present(const QVRamDiskPtr& ramDisk) const {
  const auto& listed = ramDiskEntries_->ramDisks();
  if (std::find(listed.begin(), listed.end(), ramDisk) != listed.end()) return ramDisk;
  return ramDisk ? ramDiskEntries_->ramDiskWithIdentifier(ramDisk->identifier()) : nullptr;
}

// The list may have been read anew since the menu was built. What an action did to a record that it
// no longer has would be lost.
QVRamDiskPtr StatusMenuController::recordOf(const MenuItem& item) const {
  const auto ramDisk = item.represented<QVRamDiskPtr>();
  auto known = present(ramDisk);
  if (ramDisk && !known)
    QVLogWarning("StatusMenuController", "{} is no longer listed; nothing is done",
                 QVText(ramDisk->name()));
  return known;
}

// An action that began since the menu was built is not disturbed, nor what another program does to
// the disk, or the helper's start with a record of its own.
std::optional<ActionLock> StatusMenuController::lockForActing(const QVRamDiskPtr& ramDisk) {
  if (ramDisk->action() != QVRamDiskActionNone || acting_.contains(ramDisk)) {
    QVLogWarning("StatusMenuController", "{} is busy; nothing is done", QVText(ramDisk->name()));
    return std::nullopt;
  }
  const auto lock = ActionLock::take(ramDisk->identifier(), kLockPatience);
  if (lock) return *lock;
  tellFailure(*ramDisk, lock.error(), QVRamDiskActionNone);
  return std::nullopt;
}

// The list need not know yet what another program did to the disk: what the menu offered may make
// no sense any more. Where that made the disk, the list's record leads to no volume.
bool StatusMenuController::isStillAsShown(QVRamDiskAction action, const QVRamDiskPtr& ramDisk) {
  ramDisk->update();
  if (ramDisk->status() != QVRamDiskStatus_mounted) takeUpFromFile(*ramDisk);
  updateDiskWarning();
  if (allows(ramDisk->status(), action)) return true;
  QVLogWarning("StatusMenuController", "{} was changed by another program; nothing is done",
               QVText(ramDisk->name()));
  return false;
}

// The listed disk that shows the path; of disks within disks the innermost.
QVRamDiskPtr StatusMenuController::diskShowing(const std::string& path) const {
  QVRamDiskPtr found;
  for (const auto& ramDisk : ramDiskEntries_->ramDisks()) {
    const auto root = ramDisk->path();
    if (!root || !path.starts_with(*root + "/")) continue;
    if (!found || root->size() > found->path().value_or("").size()) found = ramDisk;
  }
  return found;
}

// The lock, which is kept until the action's end is saved; null where nothing is to be done.
const ActionLock* StatusMenuController::noteActing(QVRamDiskAction action,
                                                   const QVRamDiskPtr& ramDisk) {
  auto lock = ramDisk ? lockForActing(ramDisk) : std::nullopt;
  if (!lock || !isStillAsShown(action, ramDisk)) return nullptr;
  const auto acting = acting_.insert_or_assign(ramDisk, Acting{std::move(*lock), action}).first;
  return &acting->second.lock;
}

void StatusMenuController::start(QVRamDiskAction action, const QVRamDiskPtr& ramDisk) {
  if (const auto* lock = noteActing(action, ramDisk))
    ramDisk->performAction(action, ramDiskEntries_, 1, *lock);
  noticeOtherRows();
}

void StatusMenuController::startAll(QVRamDiskAction action,
                                    const std::function<bool(const QVRamDisk&)>& concerns) {
  for (const auto& ramDisk : ramDiskEntries_->ramDisks())
    if (concerns(*ramDisk)) start(action, ramDisk);
}

void StatusMenuController::mi_openRamDiskApp(MenuItem&) {
  const auto path = QVRamDiskUtils::ramDiskAppPath();
  const platform::Outcome launched =
      path ? services().workspace->launch(*path, {})
           : platform::SystemError{"POSIX", ENOENT, "the application is not installed"};
  if (!launched)
    QVLogError("StatusMenuController", "launchApplication==NO path:{} error:{}", QVText(path),
               QVDescription(launched.error()));
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
        return menu::isMountedAndIdle(disk) && disk.isSavedIntoBase();
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
  if (const auto* lock = noteActing(action, ramDisk))
    ramDisk->performAction(action, reports_, 1, *lock);
}

void StatusMenuController::mi_cleanUp(MenuItem& sender) {
  if (!sender.represented<QVRamDiskPtr>())
    QVLogCriticalException("StatusMenuController", "ramDisk==nil");
  activate();
  const auto ramDisk = recordOf(sender);
  if (const auto* lock = noteActing(QVRamDiskActionCleanUpFiles, ramDisk))
    ramDisk->startCleanUp(reports_, *lock);
}

void StatusMenuController::mi_openFile(MenuItem& sender) {
  services().workspace->open(sender.represented<std::string>());
}

// The menu may have been built long ago: what lies at the path now can be the user's own folder.
void StatusMenuController::mi_cleanFolder(MenuItem& sender) {
  const auto path = sender.represented<std::string>();
  const auto ramDisk = diskShowing(path);
  if (!ramDisk)
    return QVLogWarning("StatusMenuController", "{} is on no disk; nothing is done", path);
  if (const auto done = ramDisk->removeFolder(path); !done)
    QVLogError("StatusMenuController", "removeItemAtPath==NO sender.representedObject:{} error:{}",
               path, QVDescription(done.error()));
}

void StatusMenuController::mi_quitHelper(MenuItem&) {
  if (statusBar_) statusBar_->terminate();
}
