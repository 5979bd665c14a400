#include "cli/DiskNames.h"
#include "cli/verbs/Verbs.h"

namespace cli::verbs {
namespace {

std::optional<Refusal> refusal(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (status == QVRamDiskStatus_created) return std::nullopt;
  if (status == QVRamDiskStatus_mounted)
    return Refusal{kActionFailed,
                   nameOf(disk) + " is already mounted at " + disk.path().value_or(""),
                   "there is nothing to do"};
  return Refusal{kActionFailed, nameOf(disk) + " is not created", "'tarnvale create' makes it"};
}

}  // namespace

void remount(CLI::App& app, Invocation& invocation) {
  action(app, invocation,
         {"remount", "Mount disks that were only unmounted, with their contents",
          QVRamDiskActionRemount, QVRamDiskStatus_mounted, refusal, mountedText});
}

}  // namespace cli::verbs
