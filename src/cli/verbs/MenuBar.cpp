#include <CLI/CLI.hpp>

#include "cli/Refusals.h"
#include "cli/Registry.h"
#include "cli/verbs/Verbs.h"
#include "settings/Switches.h"

namespace cli::verbs {
namespace {

struct MenuBarOptions {
  std::string state;  // "on", "off", or empty to ask
  bool atLogin = false;
  bool notAtLogin = false;
};

std::string describe(const QVRamDiskEntries& entries) {
  return std::string("menu bar ") + (entries.showInMenuBar() ? "on" : "off") + ", at login " +
         (entries.showInMenuBarAtLogin() ? "on" : "off");
}

int menuBar(Context& context, const MenuBarOptions& options) {
  int status = kDone;
  auto registry = openRegistry(context, status);
  if (!registry) return status;
  std::optional<bool> show;
  std::optional<bool> atLogin;
  if (!options.state.empty()) show = options.state == "on";
  if (options.atLogin || options.notAtLogin) atLogin = options.atLogin;
  if (show || atLogin)
    if (const auto problem = settings::setMenuBar(registry->room(), show, atLogin))
      return context.refuse(refusalOf(*problem));
  context.say(describe(registry->entries()));
  return kDone;
}

}  // namespace

void menuBar(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<MenuBarOptions>();
  auto* verb = app.add_subcommand("menu-bar", "Show the disks in the menu bar, or tell whether");
  verb->add_option("STATE", options->state, "on or off")
      ->check(CLI::IsMember({"on", "off"}))
      ->type_name("");
  auto* atLogin = verb->add_flag("--at-login", options->atLogin, "From the next login on too");
  verb->add_flag("--no-at-login", options->notAtLogin, "Not from the next login on")
      ->excludes(atLogin);
  verb->callback([&invocation, options] {
    invocation.command = [options](Context& context) { return menuBar(context, *options); };
  });
}

}  // namespace cli::verbs
