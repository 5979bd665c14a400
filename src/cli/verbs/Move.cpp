#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/Registry.h"
#include "cli/verbs/Verbs.h"

namespace cli::verbs {
namespace {

struct MoveOptions {
  std::string disk;
  std::int64_t position = 0;  // counted from 1
};

std::optional<Refusal> moveTo(std::int64_t position, const QVRamDiskPtr& disk,
                              QVRamDiskEntries& entries) {
  const auto count = static_cast<std::int64_t>(entries.ramDisks().size());
  if (position < 1 || position > count)
    return Refusal{kWrongUsage, fmt::format("there is no position {}", position),
                   fmt::format("choose from 1 to {}", count)};
  const auto current = entries.indexOfRamDiskWithIdentifier(disk->identifier());
  // The registry counts gaps: behind its present place the disk itself lies before the gap.
  const auto index = position - 1;
  entries.setPositionIndex(index > current ? index + 1 : index, disk);
  return std::nullopt;
}

int move(Context& context, const MoveOptions& options) {
  Registry registry;
  QVRamDiskPtr disk;
  const auto refused = registry.change(context, [&]() -> std::optional<Refusal> {
    const auto selection = selectDisks(registry.disks(), {options.disk});
    if (selection.refusal) return selection.refusal;
    disk = selection.disks.front();
    return moveTo(options.position, disk, registry.entries());
  });
  if (refused) return context.refuse(*refused);
  context.say(fmt::format("{}: now at position {}", printable(nameOf(*disk)), options.position));
  return kDone;
}

}  // namespace

void move(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<MoveOptions>();
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
