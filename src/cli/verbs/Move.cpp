#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/Registry.h"
#include "cli/verbs/Verbs.h"

namespace cli::verbs {
namespace {

struct Options {
  std::string disk;
  std::int64_t position = 0;  // counted from 1
};

int move(Context& context, const Options& options) {
  int status = kDone;
  auto registry = openRegistry(context, status);
  if (!registry) return status;
  const auto selection = selectDisks(registry->disks(), {options.disk});
  if (selection.refusal) return context.refuse(*selection.refusal);
  const auto count = static_cast<std::int64_t>(registry->disks().size());
  if (options.position < 1 || options.position > count)
    return context.refuse(kWrongUsage, fmt::format("there is no position {}", options.position),
                          fmt::format("choose from 1 to {}", count));
  auto& entries = registry->entries();
  const auto& disk = selection.disks.front();
  const auto current = entries.indexOfRamDiskWithIdentifier(disk->identifier());
  // The registry counts gaps: behind its present place the disk itself lies before the gap.
  const auto index = options.position - 1;
  entries.setPositionIndex(index > current ? index + 1 : index, disk);
  if (const auto problem = registry->save()) return context.refuse(*problem);
  context.say(fmt::format("{}: now at position {}", printable(nameOf(*disk)), options.position));
  return kDone;
}

}  // namespace

void move(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<Options>();
  auto* verb = app.add_subcommand("move", "Change the place of a disk in the list");
  verb->add_option("DISK", options->disk, "Disk, by name, identifier or the beginning of one")
      ->required()
      ->type_name("");
  verb->add_option("POSITION", options->position, "Its new place, from 1")
      ->required()
      ->type_name("");
  verb->callback([&invocation, options] {
    invocation.command = [options](Context& context) { return move(context, *options); };
  });
}

}  // namespace cli::verbs
