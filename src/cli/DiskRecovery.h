#pragma once

#include <vector>

#include "cli/ActionVerb.h"
#include "cli/Context.h"
#include "cli/Registry.h"
#include "ramdisk/Recovery.h"

namespace cli {

// What cut-off actions had left of a disk.
struct DiskRecovery {
  QVRamDiskPtr disk;
  std::vector<RecoveryFinding> findings;
  std::optional<Refusal> failure;  // then the last finding may not be put right
};

// Puts one disk right and saves its record when that changed anything.
DiskRecovery recoverDisk(Registry& registry, const QVRamDiskPtr& disk);

// Puts the disks right before an action starts on them, with a warning of everything that was done.
// What only waits to be mounted is left to a remount, and an eject refuses it by itself. Takes out
// of `disks` those that could not be put right, which is said, and all when it is interrupted.
// Gives the status so far.
int recoverBeforeAction(Context& context, const ActionVerb& verb, Registry& registry,
                        std::vector<QVRamDiskPtr>& disks);

}  // namespace cli
