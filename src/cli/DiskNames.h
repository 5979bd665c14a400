#pragma once

#include <string>
#include <vector>

#include "cli/Context.h"
#include "ramdisk/QVRamDisk.h"

namespace cli {

using Selection = platform::Result<std::vector<QVRamDiskPtr>, Refusal>;

// Finds disks, in the order named and each once, by name, identifier or the beginning of either. A
// name as a whole goes before an identifier as a whole and both before beginnings; identifiers
// ignore case. Several matches of the same rank are refused.
Selection selectDisks(const std::vector<QVRamDiskPtr>& all, const std::vector<std::string>& names);

// The name, for messages.
std::string nameOf(const QVRamDisk& disk);

// Where its volume is mounted, as the user knows the place.
std::string shownMountPoint(const QVRamDisk& disk);

}  // namespace cli
