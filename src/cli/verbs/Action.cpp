#include <CLI/CLI.hpp>

#include "cli/verbs/Verbs.h"

namespace cli::verbs {

void action(CLI::App& app, Invocation& invocation, const ActionVerb& verb) {
  auto request = std::make_shared<ActionRequest>();
  auto* command = app.add_subcommand(verb.name, verb.help);
  command->add_option("DISK", request->names, "Disks, by name, identifier or the beginning of one")
      ->type_name("");
  command->add_flag("--all", request->all, "Every disk for which it has a meaning");
  if (verb.unmounts)
    command->add_flag("--force", request->force, "Also when programs use the disk");
  if (verb.question) command->add_flag("--yes", request->yes, "Do not ask");
  command->callback([&invocation, request, verb] {
    invocation.command = [request, verb](Context& context) {
      return runAction(context, verb, *request);
    };
  });
}

}  // namespace cli::verbs
