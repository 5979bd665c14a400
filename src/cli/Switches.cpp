// What holds for the program as a whole. Without a state the switch is only told.

#include <algorithm>

#include "cli/Registry.h"
#include "cli/Verbs.h"
#include "settings/Edits.h"
#include "system/QVRamDiskUtils.h"

namespace cli {
namespace {

std::string menuBarText(const QVRamDiskEntries& entries) {
  return std::string("menu bar ") + (entries.showInMenuBar() ? "on" : "off") + ", at login " +
         (entries.showInMenuBarAtLogin() ? "on" : "off");
}

// The switch is obeyed by a helper that runs; without one nothing happens at the session's end.
std::string sessionSaveText(const QVRamDiskEntries& entries) {
  const auto& disks = entries.ramDisks();
  const std::string text = "saving at the session's end ";
  if (!entries.saveAtSessionEnd()) return text + "off";
  const bool isNeeded = std::any_of(disks.begin(), disks.end(),
                                    [](const auto& disk) { return disk->savesContents(); });
  if (!isNeeded || QVRamDiskUtils::helperIsRunning()) return text + "on";
  return text +
         "on, but tarnvale-helper, which would do it, is not running; it starts at login "
         "when a disk is wanted there, or as a service ('man tarnvale-helper')";
}

}  // namespace

int verbs::menuBar(Context& context, const MenuBarRequest& request) {
  auto registry = openRegistry(context);
  if (!registry) return registry.error();
  std::optional<bool> show;
  std::optional<bool> atLogin;
  if (!request.state.empty()) show = request.state == "on";
  if (request.atLogin || request.notAtLogin) atLogin = request.atLogin;
  if (show || atLogin)
    if (const auto set = settings::setMenuBar(registry->room(), show, atLogin); !set)
      return context.refuse(refusalOf(set.error()));
  context.say(menuBarText(registry->entries()));
  return kDone;
}

int verbs::sessionSave(Context& context, const SessionSaveRequest& request) {
  auto registry = openRegistry(context);
  if (!registry) return registry.error();
  if (!request.state.empty())
    if (const auto set = settings::setSaveAtSessionEnd(registry->room(), request.state == "on");
        !set)
      return context.refuse(refusalOf(set.error()));
  context.say(sessionSaveText(registry->entries()));
  return kDone;
}

}  // namespace cli
