#pragma once

#include <vector>

#include "cli/Action.h"
#include "cli/Registry.h"

namespace cli {

// Puts the disks right before an action starts on them, with a warning of everything that was done.
// What only waits to be mounted is left to a remount, and an eject refuses it by itself. Takes out
// of `disks` those that could not be put right, which is said, and all when it is interrupted.
// Gives the status so far.
int recoverBeforeAction(Context& context, const ActionVerb& verb, Registry& registry,
                        std::vector<QVRamDiskPtr>& disks);

}  // namespace cli
