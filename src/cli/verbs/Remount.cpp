#include "cli/DiskNames.h"
#include "cli/verbs/Verbs.h"
#include "platform/Services.h"

namespace cli::verbs {
namespace {

// Where only the system can mount, mounting goes with erasing.
std::optional<Refusal> erasure(const QVRamDisk& disk) {
  const auto& services = platform::services();
  if (disk.mountDirectory() || services.files->isWritable(services.places->volumesDirectory()))
    return std::nullopt;
  return Refusal{kActionFailed,
                 nameOf(disk) + " would be erased, because only the system can mount it in " +
                     services.places->volumesDirectory(),
                 "'tarnvale eject' gives its memory back"};
}

std::optional<Refusal> remountRefusal(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (status == QVRamDiskStatus_created) return erasure(disk);
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
          QVRamDiskActionRemount, QVRamDiskStatus_mounted, remountRefusal, mountedText});
}

}  // namespace cli::verbs
