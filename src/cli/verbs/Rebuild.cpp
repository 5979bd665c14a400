#include "cli/verbs/Verbs.h"

namespace cli::verbs {
namespace {

std::string rebuildResult(const QVRamDisk& disk) { return "rebuilt, " + mountedText(disk); }

}  // namespace

void rebuild(CLI::App& app, Invocation& invocation) {
  ActionVerb verb{"rebuild",
                  "Eject disks and create them anew with their present settings",
                  QVRamDiskActionRebuild,
                  QVRamDiskStatus_mounted,
                  unlessMounted,
                  rebuildResult};
  verb.unmounts = true;
  action(app, invocation, verb);
}

}  // namespace cli::verbs
