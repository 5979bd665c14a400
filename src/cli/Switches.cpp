// What holds for the program as a whole. Without a state the switch is only told.

#include "cli/Registry.h"
#include "cli/Verbs.h"
#include "settings/Edits.h"

namespace cli {
namespace {

std::string menuBarText(const QVRamDiskEntries& entries) {
  return std::string("menu bar ") + (entries.showInMenuBar() ? "on" : "off") + ", at login " +
         (entries.showInMenuBarAtLogin() ? "on" : "off");
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
  context.say(std::string("saving at the session's end ") +
              (registry->entries().saveAtSessionEnd() ? "on" : "off"));
  return kDone;
}

}  // namespace cli
