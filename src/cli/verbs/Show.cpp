#include <CLI/CLI.hpp>

#include "cli/DiskNames.h"
#include "cli/DiskReport.h"
#include "cli/Registry.h"
#include "cli/verbs/Verbs.h"

namespace cli::verbs {
namespace {

struct ShowOptions {
  std::vector<std::string> names;
  bool all = false;
  bool json = false;
};

void writeFacts(std::ostream& out, const std::vector<QVRamDiskPtr>& disks,
                settings::DiskState& state) {
  const char* between = "";
  for (const auto& disk : disks) {
    out << between << factsOf(*disk, state);
    between = "\n";
  }
}

int show(Context& context, const ShowOptions& options) {
  if (options.names.empty() != options.all)
    return context.refuse(kWrongUsage, "name the disks to show or give --all", {});
  int status = kDone;
  auto registry = openRegistry(context, status);
  if (!registry) return status;
  auto selection = selectDisks(registry->disks(), options.names);
  if (selection.refusal) return context.refuse(*selection.refusal);
  if (options.all) selection.disks = registry->disks();
  settings::DiskState state(registry->disks());
  if (options.json) {
    writeJson(context.streams.out, selection.disks, state);
  } else {
    writeFacts(context.streams.out, selection.disks, state);
  }
  context.streams.out.flush();
  return kDone;
}

}  // namespace

void show(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<ShowOptions>();
  auto* verb = app.add_subcommand("show", "Show all that is known of disks");
  verb->add_option("DISK", options->names, "Disks, by name, identifier or the beginning of one")
      ->type_name("");
  verb->add_flag("--all", options->all, "Every disk");
  verb->add_flag("--json", options->json, "Write an array of objects");
  verb->callback([&invocation, options] {
    invocation.command = [options](Context& context) { return show(context, *options); };
  });
}

}  // namespace cli::verbs
