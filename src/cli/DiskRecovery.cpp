#include "cli/DiskRecovery.h"

#include "cli/DiskNames.h"
#include "cli/Interruption.h"
#include "extensions/ErrorText.h"
#include "ramdisk/ActionLock.h"
#include "settings/DiskState.h"

namespace cli {
namespace {

bool isLeftToTheAction(const ActionVerb& verb, const QVRamDisk& disk, const Registry& registry) {
  if (verb.action != QVRamDiskActionRemount && verb.action != QVRamDiskActionEject) return false;
  return settings::DiskState(registry.disks()).status(disk) == QVRamDiskStatus_created;
}

// That a volume is there after all is nothing to be warned of.
void warnOf(Context& context, const DiskRecovery& recovery) {
  for (const RecoveryFinding& finding : recovery.findings)
    if (finding.step != RecoveryStep::Adopt)
      context.warn(nameOf(*recovery.disk) + ": " + finding.text);
}

}  // namespace

DiskRecovery recoverDisk(Registry& registry, const QVRamDiskPtr& disk) {
  DiskRecovery recovery{disk, {}, {}};
  QVErrorPtr error;
  const auto lock = ActionLock::take(disk->identifier(), error);  // until what was found is saved
  error = nullptr;                                                // the recovery says so itself
  recovery.findings = recoverCutOffActions(disk, error);
  if (error)
    recovery.failure = Refusal{kActionFailed, nameOf(*disk) + ": " + extensions::errorText(*error),
                               "what an action left that was cut off is not put right yet"};
  if (recovery.findings.empty()) return recovery;
  const auto unwritten = registry.saveStateOf(disk);
  if (unwritten && !recovery.failure) recovery.failure = unwritten;
  return recovery;
}

int recoverBeforeAction(Context& context, const ActionVerb& verb, Registry& registry,
                        std::vector<QVRamDiskPtr>& disks) {
  const Interruption interruption;
  int status = kDone;
  const auto isNotReady = [&](const QVRamDiskPtr& disk) {
    if (interruption.noted()) return true;
    if (isLeftToTheAction(verb, *disk, registry)) return false;
    const DiskRecovery recovery = recoverDisk(registry, disk);
    warnOf(context, recovery);
    if (recovery.failure) status = combined(status, context.refuse(*recovery.failure));
    return recovery.failure.has_value();
  };
  std::erase_if(disks, isNotReady);
  if (!interruption.noted()) return status;
  disks.clear();
  return context.refuse(kActionFailed, "interrupted before the action began");
}

}  // namespace cli
