#include "cli/DiskNames.h"
#include "cli/Refusals.h"
#include "cli/verbs/Verbs.h"
#include "settings/Validation.h"

namespace cli::verbs {
namespace {

std::optional<Refusal> createRefusal(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (status == QVRamDiskStatus_mounted)
    return Refusal{kActionFailed,
                   nameOf(disk) + " is already mounted at " + disk.path().value_or(""),
                   "'tarnvale rebuild' makes it anew"};
  if (status == QVRamDiskStatus_created)
    return Refusal{kActionFailed, nameOf(disk) + " is created already and only not mounted",
                   "'tarnvale remount' mounts it with its contents"};
  return refusalOf(settings::problemOfCreation(disk));
}

}  // namespace

void create(CLI::App& app, Invocation& invocation) {
  action(app, invocation,
         {"create", "Create disks, fill and mount them", QVRamDiskActionCreate,
          QVRamDiskStatus_mounted, createRefusal, mountedText});
}

}  // namespace cli::verbs
