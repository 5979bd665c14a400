#include <algorithm>
#include <chrono>

#include "core/QVError.h"
#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "menu/StatusMenuController.h"
#include "menu/StatusMenuRules.h"
#include "platform/Services.h"
#include "ramdisk/RegistryFile.h"

using menu::MenuItem;
using platform::services;

namespace {

// The action before gives its lock back a moment after its last report, and a program that is just
// being started holds a copy of it for another.
constexpr std::chrono::milliseconds kLockPass(5);
constexpr int kLockPasses = 20;

std::optional<ActionLock> lockOf(const QVRamDisk& disk) {
  auto lock = ActionLock::takeIfFree(disk.identifier());
  for (int pass = 0; !lock && pass < kLockPasses; ++pass) {
    services().mainLoop->sleep(kLockPass);
    lock = ActionLock::takeIfFree(disk.identifier());
  }
  return lock;
}

// Where its volume is while it has one, with a slash at its end.
std::string placeOf(const QVRamDisk& disk) {
  const std::string folder = disk.mountDirectory().value_or(services().places->volumesDirectory());
  return extensions::appendingPathComponent(folder, disk.name().value_or("")) + "/";
}

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
  auto lock = lockOf(*ramDisk);
  if (!lock)
    tellFailure(*ramDisk,
                QVError::errorWithMessage(QVLocalized("Another program is working on this RamDisk"),
                                          "lock"),
                QVRamDiskActionNone);
  return lock;
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

// A folder that was shown on a disk is of its volume only while that is there.
bool StatusMenuController::isStillShown(const std::string& folder) const {
  const auto& listed = ramDiskEntries_->ramDisks();
  return std::all_of(listed.begin(), listed.end(), [&](const auto& ramDisk) {
    return !folder.starts_with(placeOf(*ramDisk)) || ramDisk->showsOwnVolume();
  });
}

// The lock is kept until the action's end is saved.
bool StatusMenuController::noteActing(QVRamDiskAction action, const QVRamDiskPtr& ramDisk) {
  auto lock = ramDisk ? lockForActing(ramDisk) : std::nullopt;
  if (!lock || !isStillAsShown(action, ramDisk)) return false;
  acting_.insert_or_assign(ramDisk, Acting{std::move(*lock), action});
  return true;
}

void StatusMenuController::start(QVRamDiskAction action, const QVRamDiskPtr& ramDisk) {
  if (noteActing(action, ramDisk)) ramDiskEntries_->startAction(action, ramDisk, 1);
  noticeOtherRows();
}
