#include <CLI/CLI.hpp>

#include "cli/Refusals.h"
#include "cli/Registry.h"
#include "cli/verbs/Verbs.h"
#include "settings/Switches.h"

namespace cli::verbs {
namespace {

int sessionSave(Context& context, const std::string& state) {
  int status = kDone;
  auto registry = openRegistry(context, status);
  if (!registry) return status;
  if (!state.empty())
    if (const auto problem = settings::setSaveAtSessionEnd(registry->room(), state == "on"))
      return context.refuse(refusalOf(*problem));
  context.say(std::string("saving at the session's end ") +
              (registry->entries().saveAtSessionEnd() ? "on" : "off"));
  return kDone;
}

}  // namespace

void sessionSave(CLI::App& app, Invocation& invocation) {
  auto state = std::make_shared<std::string>();  // "on", "off", or empty to ask
  auto* verb = app.add_subcommand(
      "session-save", "Save mounted disks when the session ends, or tell whether they are saved");
  verb->add_option("STATE", *state, "on or off")
      ->check(CLI::IsMember({"on", "off"}))
      ->type_name("");
  verb->callback([&invocation, state] {
    invocation.command = [state](Context& context) { return sessionSave(context, *state); };
  });
}

}  // namespace cli::verbs
