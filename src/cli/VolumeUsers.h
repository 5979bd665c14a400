#pragma once

#include <optional>

#include "cli/ExitStatus.h"
#include "ramdisk/QVRamDisk.h"

namespace cli {

// The refusal of a disk whose volume programs use, by name and process number; one that only works
// in a folder of it counts. nullopt for a disk that nobody uses, as far as the user may see, and
// for one that is not mounted.
std::optional<Refusal> refuseWhileInUse(const QVRamDisk& disk);

}  // namespace cli
