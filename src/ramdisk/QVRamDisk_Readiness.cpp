#include <fmt/format.h>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDisk.h"
#include "ramdisk/Recovery.h"
#include "ramdisk/Users.h"
#include "system/QVDirectoryStatistics.h"

// What is asked before an action, whichever program starts it, in this order:
//
//   recover   what a cut-off action left of the disk is put right
//   look      who uses what the action would take away: refused with the programs' names
//   measure   what would not come back is not taken away
//
// A device that waits unmounted with contents nobody saved stands for an eject that was cut off, or
// was unmounted by hand. An action on the contents mounts it again; a creation and `recover` end
// the eject; ejecting and mounting do with it what they are for.

namespace {

using platform::services;

}  // namespace

QVErrorPtr QVRamDisk::makeReady(QVRamDiskAction action, const ActionLock& lock) {
  if (auto error = recoverBefore(action, lock)) return error;
  const bool unmounts = action == QVRamDiskActionEject || action == QVRamDiskActionRebuild;
  if (unmounts && !insistence().force)
    if (auto error = checkUnused()) return error;
  if (action == QVRamDiskActionRebuild) return checkRebuilds();
  return action == QVRamDiskActionCreate ? checkNotThere() : nullptr;
}

// A second volume would take the place of one with contents nobody saved.
QVErrorPtr QVRamDisk::checkNotThere() const {
  if (!QVRamDiskDevice::isVolumeOf(identifier_, mountPath())) return nullptr;
  return QVError::errorWithMessage(
      QVLocalizedFormat("%@ is already mounted at %@", {displayName().value_or(""), mountPath()}),
      "mounted", QVErrorCode::PlaceTaken);
}

QVErrorPtr QVRamDisk::recoverBefore(QVRamDiskAction action, const ActionLock& lock) {
  if (action == QVRamDiskActionRemount || action == QVRamDiskActionEject) return nullptr;
  QVErrorPtr error;
  const auto findings =
      recoverCutOffActions(shared_from_this(), lock, error, recoveryPurposeOf(action));
  for (const auto& finding : findings)
    if (finding.step != RecoveryStep::Adopt) tell(finding.text);
  return error;
}

// Of who uses it only what the user may see is known.
QVErrorPtr QVRamDisk::checkUnused() const {
  const auto seen = observed();
  if (seen.status != QVRamDiskStatus_mounted || !seen.path) return nullptr;
  const auto users = services().volumes->use(*seen.path).users;
  return users.empty() ? nullptr : inUseError(displayName().value_or(""), users);
}

// A disk that is two thirds full could be ejected and not be made again.
QVErrorPtr QVRamDisk::checkRebuilds() const {
  const auto known = settings();
  const auto seen = observed();
  if (known.doNotCalculateBaseSize || !known.isKeptInBase() || !seen.path) return nullptr;
  QVDirectoryStatistics statistics;
  if (!QVGetDirectoryStatistics(&statistics, 0, *seen.path)) return nullptr;
  if (known.hasRoomFor(statistics.totalSize)) return nullptr;
  return QVError::errorWithMessage(
      QVLocalizedFormat("%@ is too full to be made anew: its contents must be smaller than two "
                        "thirds of its size.",
                        {displayName().value_or("")}),
      "rebuild", QVErrorCode::ContentsTooLarge);
}

void QVRamDisk::undoCreation(const ActionLock& lock) {
  update();
  QVErrorPtr error;
  for (const auto& finding : recoverCutOffActions(shared_from_this(), lock, error))
    if (finding.step == RecoveryStep::KeepRescued) tell(finding.text);
  if (error) tell(error->message());
}
