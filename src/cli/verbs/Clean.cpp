#include <fmt/format.h>

#include <algorithm>

#include "cli/DiskNames.h"
#include "cli/verbs/Verbs.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "settings/DiskState.h"

namespace cli::verbs {
namespace {

std::string cleanResult(const QVRamDisk& disk) {
  return fmt::format("emptied ({} % used)", settings::usedPercent(disk));
}

// The engine only logs what it could not delete.
std::optional<Refusal> fault(const QVRamDisk& disk) {
  const auto names = platform::services().files->names(disk.path().value_or(""));
  if (names && std::all_of(names->begin(), names->end(), QVRamDiskBackup::leavesAlone))
    return std::nullopt;
  return Refusal{kActionFailed, nameOf(disk) + ": not everything could be deleted",
                 "'tarnvale --verbose clean' shows what and why"};
}

}  // namespace

void clean(CLI::App& app, Invocation& invocation) {
  action(app, invocation,
         {"clean", "Delete the contents of mounted disks", QVRamDiskActionCleanUpFiles,
          QVRamDiskStatus_mounted, unlessMounted, cleanResult, "deleting the contents of", fault});
}

}  // namespace cli::verbs
