// A disk's life: made, mounted again, made anew, given back.

#include "cli/DiskNames.h"
#include "cli/Registry.h"
#include "cli/Verbs.h"
#include "platform/Services.h"
#include "settings/Validation.h"

namespace cli {
namespace {

Allowed mayCreate(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (status == QVRamDiskStatus_mounted)
    return Refusal{kActionFailed, nameOf(disk) + " is already mounted at " + shownMountPoint(disk),
                   "'tarnvale rebuild' makes it anew"};
  if (status == QVRamDiskStatus_created)
    return Refusal{kActionFailed, nameOf(disk) + " is created already and only not mounted",
                   "'tarnvale remount' mounts it with its contents"};
  return allowedBy(settings::checkCreation(disk));
}

Allowed mayEject(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (status == QVRamDiskStatus_mounted) return {};
  if (status == QVRamDiskStatus_created && !disk.savesContents()) return {};
  // The contents are saved from where the volume is mounted.
  if (status == QVRamDiskStatus_created)
    return Refusal{kRefused,
                   nameOf(disk) + " is not mounted, so that its contents could not be saved",
                   "mount it first with 'tarnvale remount'"};
  return Refusal{kActionFailed, nameOf(disk) + " is not created", "there is nothing to eject"};
}

std::string ejectResult(const QVRamDisk&) { return "ejected"; }

// Where only the system can mount, mounting goes with erasing.
Allowed staysWhole(const QVRamDisk& disk) {
  const auto& services = platform::services();
  if (disk.mountDirectory() || services.files->isWritable(services.places->volumesDirectory()))
    return {};
  return Refusal{kActionFailed,
                 nameOf(disk) + " would be erased, because only the system can mount it in " +
                     services.places->volumesDirectory(),
                 "'tarnvale eject' gives its memory back"};
}

Allowed mayRemount(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (status == QVRamDiskStatus_created) return staysWhole(disk);
  if (status == QVRamDiskStatus_mounted)
    return Refusal{kActionFailed, nameOf(disk) + " is already mounted at " + shownMountPoint(disk),
                   "there is nothing to do"};
  return Refusal{kActionFailed, nameOf(disk) + " is not created", "'tarnvale create' makes it"};
}

constexpr char kUsedDirectory[] =
    "Also when programs use the directory, or what is in it cannot be read";
constexpr char kUsedDisk[] = "Also when programs use the disk, or not everything can be saved";

std::string rebuildResult(const QVRamDisk& disk) { return "rebuilt, " + mountedText(disk); }

}  // namespace

std::vector<ActionVerb> verbs::life() {
  return {{.name = "create",
           .help = "Create disks, fill and mount them",
           .action = QVRamDiskActionCreate,
           .statusAfterwards = QVRamDiskStatus_mounted,
           .check = mayCreate,
           .result = mountedText,
           .insists = kUsedDirectory},
          {.name = "eject",
           .help = "Save what is to be kept and give the memory back",
           .action = QVRamDiskActionEject,
           .statusAfterwards = QVRamDiskStatus_notCreated,
           .check = mayEject,
           .result = ejectResult,
           .insists = kUsedDisk},
          {.name = "remount",
           .help = "Mount disks that were only unmounted, with their contents",
           .action = QVRamDiskActionRemount,
           .statusAfterwards = QVRamDiskStatus_mounted,
           .check = mayRemount,
           .result = mountedText},
          {.name = "rebuild",
           .help = "Eject disks and create them anew with their present settings",
           .action = QVRamDiskActionRebuild,
           .statusAfterwards = QVRamDiskStatus_mounted,
           .check = isMounted,
           .result = rebuildResult,
           .insists = kUsedDisk}};
}

}  // namespace cli
