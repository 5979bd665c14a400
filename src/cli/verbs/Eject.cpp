#include "cli/DiskNames.h"
#include "cli/verbs/Verbs.h"
#include "settings/DiskState.h"

namespace cli::verbs {
namespace {

// The contents are saved from where the volume is mounted.
bool savesContents(const QVRamDisk& disk) {
  return settings::isKeptInBase(disk) || disk.backupDirPath();
}

std::optional<Refusal> ejectRefusal(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (status == QVRamDiskStatus_mounted) return std::nullopt;
  if (status == QVRamDiskStatus_created && !savesContents(disk)) return std::nullopt;
  if (status == QVRamDiskStatus_created)
    return Refusal{kRefused,
                   nameOf(disk) + " is not mounted, so that its contents could not be saved",
                   "mount it first with 'tarnvale remount'"};
  return Refusal{kActionFailed, nameOf(disk) + " is not created", "there is nothing to eject"};
}

std::string ejectResult(const QVRamDisk&) { return "ejected"; }

}  // namespace

void eject(CLI::App& app, Invocation& invocation) {
  ActionVerb verb{"eject",
                  "Save what is to be kept and give the memory back",
                  QVRamDiskActionEject,
                  QVRamDiskStatus_notCreated,
                  ejectRefusal,
                  ejectResult};
  verb.unmounts = true;
  action(app, invocation, verb);
}

}  // namespace cli::verbs
