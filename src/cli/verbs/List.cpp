#include <CLI/CLI.hpp>

#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/DiskReport.h"
#include "cli/Registry.h"
#include "cli/verbs/Verbs.h"

namespace cli::verbs {
namespace {

struct ListOptions {
  bool json = false;
  bool names = false;
};

int list(Context& context, const ListOptions& options) {
  int status = kDone;
  auto registry = openRegistry(context, status);
  if (!registry) return status;
  auto& out = context.streams.out;
  settings::DiskState state(registry->disks());
  if (options.json) {
    writeJson(out, registry->disks(), state);
  } else if (options.names) {
    for (const auto& disk : registry->disks()) out << printable(nameOf(*disk)) << '\n';
  } else if (!registry->disks().empty()) {
    out << tableOf(registry->disks(), state);
  } else if (context.streams.outIsTerminal) {
    context.say("There are no disks. 'tarnvale add DIRECTORY' configures one.");
  }
  out.flush();
  return kDone;
}

}  // namespace

void list(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<ListOptions>();
  auto* verb = app.add_subcommand("list", "Show all disks");
  auto* json = verb->add_flag("--json", options->json, "Write an array of objects");
  verb->add_flag("--names", options->names, "Write the names only, one a line")->excludes(json);
  verb->callback([&invocation, options] {
    invocation.command = [options](Context& context) { return list(context, *options); };
  });
}

}  // namespace cli::verbs
