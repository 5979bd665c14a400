#include "cli/DiskNames.h"
#include "cli/verbs/Verbs.h"

namespace cli::verbs {
namespace {

std::optional<Refusal> backupRefusal(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (!disk.backupDirPath())
    return Refusal{kActionFailed, nameOf(disk) + " has no backup folder",
                   "'tarnvale set " + nameOf(disk) + " --backup support' gives it one"};
  return unlessMounted(disk, status);
}

std::string backupResult(const QVRamDisk& disk) {
  return "saved to " + disk.backupDirPath().value_or("");
}

}  // namespace

void backup(CLI::App& app, Invocation& invocation) {
  action(app, invocation,
         {"backup", "Save the contents to the disk's backup folder", QVRamDiskActionBackup,
          QVRamDiskStatus_mounted, backupRefusal, backupResult});
}

}  // namespace cli::verbs
