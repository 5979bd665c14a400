#include "cli/DiskNames.h"
#include "cli/verbs/Verbs.h"
#include "settings/DiskState.h"

namespace cli::verbs {
namespace {

std::optional<Refusal> syncRefusal(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (!settings::isKeptInBase(disk))
    return Refusal{kActionFailed, nameOf(disk) + " is not kept in the directory that it replaces",
                   "'tarnvale set " + nameOf(disk) + " --backup base' keeps it there"};
  return unlessMounted(disk, status);
}

std::string syncResult(const QVRamDisk& disk) {
  return "saved to " + disk.savedBasePath().value_or("");
}

}  // namespace

void sync(CLI::App& app, Invocation& invocation) {
  action(app, invocation,
         {"sync", "Save the contents for the directory that the disk replaces",
          QVRamDiskActionSyncWithBase, QVRamDiskStatus_mounted, syncRefusal, syncResult});
}

}  // namespace cli::verbs
