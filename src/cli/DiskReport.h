#pragma once
// Disks as tables, as texts and as JSON.

#include <ostream>
#include <string>
#include <vector>

#include "cli/JsonWriter.h"
#include "settings/DiskState.h"

namespace cli {

// One row for every disk: name, kind, size, status, used part, where it is mounted.
std::string tableOf(const std::vector<QVRamDiskPtr>& disks, settings::DiskState& state);

// All that is known of one disk, a line for every fact.
std::string factsOf(const QVRamDisk& disk, settings::DiskState& state);

// An array of objects. Sizes are bytes; "status" is "notCreated", "created" or "mounted".
void writeJson(std::ostream& out, const std::vector<QVRamDiskPtr>& disks,
               settings::DiskState& state);

}  // namespace cli
