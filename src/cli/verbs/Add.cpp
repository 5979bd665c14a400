#include <CLI/CLI.hpp>

#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/DiskOptions.h"
#include "cli/Refusals.h"
#include "cli/Registry.h"
#include "cli/Words.h"
#include "cli/verbs/Verbs.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "settings/DiskState.h"
#include "settings/PathText.h"
#include "settings/SizeText.h"
#include "settings/Validation.h"

namespace cli::verbs {
namespace {

using platform::FileKind;

struct AddOptions {
  std::string path;  // of a directory to put the disk over; empty for none
  DiskOptions disk;
};

// A path stands for the directory's name and the one above it, and keeps its contents.
std::optional<Refusal> usePath(AddOptions& options) {
  DiskOptions& disk = options.disk;
  if (options.path.empty()) return std::nullopt;
  if (disk.name || disk.directory)
    return Refusal{kWrongUsage, "a path stands for both --name and --directory",
                   "leave these or the path out"};
  const std::string path = settings::absolutePath(options.path);
  const FileKind kind = platform::services().files->kind(path);
  if (kind == FileKind::Missing)
    return Refusal{kRefused, "there is no directory " + path, "make it first or choose another"};
  if (kind != FileKind::Directory)
    return Refusal{kRefused, path + " is not a directory", "choose a directory"};
  if (path == "/")
    return Refusal{kRefused, "a disk cannot replace the root directory", "choose a directory"};
  disk.name = extensions::lastPathComponent(path);
  disk.directory = extensions::deletingLastPathComponent(path);
  if (!disk.backup && !disk.backupDir) disk.backup = backupWords().of(QVRamDiskBackupMode_Base);
  return std::nullopt;
}

std::optional<Refusal> configure(QVRamDisk& disk, const AddOptions& options,
                                 const std::vector<QVRamDiskPtr>& all) {
  settings::Change change;
  if (auto refusal = readOptions(options.disk, change)) return refusal;
  if (const auto problem = settings::apply(disk, change)) return refusalOf(*problem);
  if (const auto problem = settings::problemOfPlace(disk, all)) return refusalOf(*problem);
  return refusalOf(settings::problemOfBackup(disk));
}

std::string describe(const QVRamDisk& disk) {
  return printable(nameOf(disk)) + ": added, " + settings::sizeText(disk.size()) +
         ", to be mounted at " + printable(settings::mountPathOf(disk));
}

int add(Context& context, AddOptions& options) {
  if (const auto problem = usePath(options)) return context.refuse(*problem);
  Registry registry;
  QVRamDiskPtr disk;
  const auto refused = registry.change(context, [&]() -> std::optional<Refusal> {
    disk = registry.entries().addRamDisk();
    if (!disk) return refusalOf(settings::Problem{.reason = settings::Reason::Full});
    return configure(*disk, options, registry.disks());
  });
  if (refused) return context.refuse(*refused);
  if (disk->createAtLogin()) registry.entries().synchronizeHelper();
  context.say(describe(*disk));
  return kDone;
}

}  // namespace

void add(CLI::App& app, Invocation& invocation) {
  auto options = std::make_shared<AddOptions>();
  auto* verb = app.add_subcommand("add", "Configure a new disk");
  verb->add_option("PATH", options->path,
                   "Existing directory to put the disk over: the disk takes its name, is filled "
                   "with its contents and, unless --backup says otherwise, writes them back when "
                   "ejected (--backup base)")
      ->type_name("");
  addDiskOptions(*verb, options->disk);
  verb->callback([&invocation, options] {
    invocation.command = [options](Context& context) { return add(context, *options); };
  });
}

}  // namespace cli::verbs
