#include <CLI/CLI.hpp>

#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/DiskState.h"
#include "cli/Registry.h"
#include "cli/Settings.h"
#include "cli/Words.h"
#include "cli/verbs/Verbs.h"

namespace cli::verbs {
namespace {

struct Options {
  std::string disk;
  DiskOptions changes;
};

bool entersOrLeavesBase(const QVRamDisk& disk, const DiskOptions& changes) {
  const bool enters = changes.backup == backupWords().of(QVRamDiskBackupMode_Base);
  return changes.changesBackup() && enters != (disk.backupMode() == QVRamDiskBackupMode_Base);
}

// What the eject of a created disk relies on stays as it was when the disk was created.
std::optional<Refusal> refuseWhileCreated(const QVRamDisk& disk, const DiskOptions& changes,
                                          DiskState& state) {
  const bool movesBase = entersOrLeavesBase(disk, changes);
  if ((changes.changesVolume() || movesBase) && state.status(disk) != QVRamDiskStatus_notCreated)
    return Refusal{kRefused,
                   nameOf(disk) +
                       " is created; its kind, name, directory, size and format, and "
                       "whether it is kept in its base, cannot change now",
                   "eject it first with 'tarnvale eject'"};
  return changes.changesPlace() || movesBase ? refuseWhileBaseIsAside(disk) : std::nullopt;
}

std::optional<Refusal> change(QVRamDisk& disk, const DiskOptions& changes,
                              const std::vector<QVRamDiskPtr>& all) {
  DiskState state(all);
  if (auto problem = refuseWhileCreated(disk, changes, state)) return problem;
  if (auto problem = applyOptions(disk, changes)) return problem;
  if (changes.changesVolume())
    if (auto problem = validatePlace(disk, all)) return problem;
  if (changes.changesBackup() || changes.changesPlace()) return validateBackup(disk);
  return std::nullopt;
}

int set(Context& context, const Options& options) {
  int status = kDone;
  auto registry = openRegistry(context, status);
  if (!registry) return status;
  const auto selection = selectDisks(registry->disks(), {options.disk});
  if (selection.refusal) return context.refuse(*selection.refusal);
  const auto& disk = selection.disks.front();
  if (const auto problem = change(*disk, options.changes, registry->disks()))
    return context.refuse(*problem);
  if (const auto problem = registry->save()) return context.refuse(*problem);
  if (options.changes.atLogin) registry->entries().synchronizeHelper();
  context.say(printable(nameOf(*disk)) + ": changed");
  return kDone;
}

}  // namespace

void set(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<Options>();
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
