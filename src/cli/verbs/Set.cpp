#include <CLI/CLI.hpp>

#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/DiskOptions.h"
#include "cli/Refusals.h"
#include "cli/Registry.h"
#include "cli/verbs/Verbs.h"
#include "settings/Validation.h"

namespace cli::verbs {
namespace {

struct SetOptions {
  std::string disk;
  DiskOptions changes;
};

std::optional<Refusal> refusalOf(const settings::Problem& problem) {
  if (problem.reason != settings::Reason::Created) return cli::refusalOf(problem);
  return Refusal{kRefused,
                 problem.subject +
                     " is created; its kind, name, directory, size and format, and "
                     "whether it is kept in its base, cannot change now",
                 "eject it first with 'tarnvale eject'"};
}

std::optional<Refusal> change(QVRamDisk& disk, const DiskOptions& options,
                              const std::vector<QVRamDiskPtr>& all) {
  settings::Change change;
  if (auto refusal = readOptions(options, change)) return refusal;
  const auto problem = settings::change(disk, change, all);
  return problem ? refusalOf(*problem) : std::nullopt;
}

int set(Context& context, const SetOptions& options) {
  Registry registry;
  QVRamDiskPtr disk;
  const auto refused = registry.change(context, [&]() -> std::optional<Refusal> {
    const auto selection = selectDisks(registry.disks(), {options.disk});
    if (selection.refusal) return selection.refusal;
    disk = selection.disks.front();
    return change(*disk, options.changes, registry.disks());
  });
  if (refused) return context.refuse(*refused);
  if (options.changes.atLogin) registry.entries().synchronizeHelper();
  context.say(printable(nameOf(*disk)) + ": changed");
  return kDone;
}

}  // namespace

void set(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<SetOptions>();
  auto* verb = app.add_subcommand("set", "Change the settings of a disk");
  verb->add_option("DISK", options->disk, "Disk, by name, identifier or the beginning of one")
      ->required()
      ->type_name("");
  addDiskOptions(*verb, options->changes);
  verb->callback([&invocation, options] {
    invocation.command = [options](Context& context) { return set(context, *options); };
  });
}

}  // namespace cli::verbs
