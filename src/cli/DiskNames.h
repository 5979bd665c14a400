#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/Context.h"
#include "ramdisk/QVRamDisk.h"

namespace cli {

struct Selection {
  std::vector<QVRamDiskPtr> disks;  // in the order named, each once
  std::optional<Refusal> refusal;   // then `disks` counts for nothing
};

// Finds disks by name, identifier or the beginning of either. A name as a whole goes before an
// identifier as a whole and both before beginnings; identifiers ignore case. Several matches of
// the same rank are refused.
Selection selectDisks(const std::vector<QVRamDiskPtr>& all, const std::vector<std::string>& names);

// The name, for messages.
std::string nameOf(const QVRamDisk& disk);

}  // namespace cli
