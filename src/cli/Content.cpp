// A mounted disk's contents: saved or deleted.

#include <fmt/format.h>

#include <algorithm>

#include "cli/DiskNames.h"
#include "cli/Verbs.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "settings/DiskState.h"

namespace cli {
namespace {

Allowed maySync(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (!disk.isSavedIntoBase())
    return Refusal{kActionFailed, nameOf(disk) + " is not kept in the directory that it replaces",
                   "'tarnvale set " + nameOf(disk) + " --backup base' keeps it there"};
  return isMounted(disk, status);
}

std::string syncResult(const QVRamDisk& disk) {
  return "saved to " + disk.savedBasePath().value_or("");
}

Allowed mayBackUp(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (!disk.backupDirPath())
    return Refusal{kActionFailed, nameOf(disk) + " has no backup folder",
                   "'tarnvale set " + nameOf(disk) + " --backup support' gives it one"};
  return isMounted(disk, status);
}

std::string backupResult(const QVRamDisk& disk) {
  return "saved to " + disk.backupDirPath().value_or("");
}

// A clean-up leaves alone what is kept elsewhere.
std::string cleanResult(const QVRamDisk& disk) {
  const auto used = settings::usedPercent(disk);
  const auto saved = disk.isSavedIntoBase() ? disk.savedBasePath() : disk.backupDirPath();
  if (!saved || !platform::services().files->exists(*saved))
    return fmt::format("emptied ({} % used)", used);
  return fmt::format("emptied ({} % used; what was saved last is in {} until the next save)", used,
                     *saved);
}

// The engine only logs what it could not delete.
Allowed wasEmptied(const QVRamDisk& disk) {
  const auto names = platform::services().files->names(disk.path().value_or(""));
  if (names && std::all_of(names->begin(), names->end(), QVRamDiskBackup::leavesAlone)) return {};
  return Refusal{kActionFailed, nameOf(disk) + ": not everything could be deleted",
                 "'tarnvale --verbose clean' shows what and why"};
}

}  // namespace

std::vector<ActionVerb> verbs::content() {
  return {{.name = "sync",
           .help = "Save the contents for the directory that the disk replaces",
           .action = QVRamDiskActionSyncWithBase,
           .statusAfterwards = QVRamDiskStatus_mounted,
           .check = maySync,
           .result = syncResult},
          {.name = "backup",
           .help = "Save the contents to the disk's backup folder",
           .action = QVRamDiskActionBackup,
           .statusAfterwards = QVRamDiskStatus_mounted,
           .check = mayBackUp,
           .result = backupResult},
          {.name = "clean",
           .help = "Delete the contents of mounted disks",
           .action = QVRamDiskActionCleanUpFiles,
           .statusAfterwards = QVRamDiskStatus_mounted,
           .check = isMounted,
           .result = cleanResult,
           .question = "deleting the contents of",
           .verify = wasEmptied}};
}

}  // namespace cli
