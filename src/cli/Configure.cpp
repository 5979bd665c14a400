// What is configured: disks added, changed, removed and moved. Each change is one go: the registry
// is read anew under its lock, edited and written, so that names are looked up and rules checked in
// what holds at that moment, and what other programs saved for other disks stays. With a refusal
// nothing is written. A removal that deletes a backup asks first, and looks afterwards whether the
// names still mean the disks that were agreed on.

#include <fmt/format.h>

#include <algorithm>

#include "cli/DiskNames.h"
#include "cli/Output.h"
#include "cli/Registry.h"
#include "cli/Verbs.h"
#include "cli/Words.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "settings/DiskState.h"
#include "settings/Edits.h"
#include "settings/TypedText.h"
#include "settings/Validation.h"
#include "system/RealPath.h"

namespace cli {
namespace {

constexpr char kSizeForms[] =
    "sizes look like 512M, 1.5G, 800MB (decimal), 2GiB (binary) or plain bytes";

// The word was checked when the command line was read.
template <class Enumeration>
std::optional<Enumeration> valueOf(const DiskOptions::Text& word, const Words<Enumeration>& words) {
  return word ? words.value(*word) : std::nullopt;
}

// The change that the options ask for, with what speaks against their words alone.
Allowed readOptions(const DiskOptions& options, settings::Change& change) {
  change.kind = valueOf(options.kind, kindWords());
  change.simulator = options.simulator;
  change.name = options.name;
  change.directory = options.directory;
  change.backup = valueOf(options.backup, backupWords());
  change.backupDir = options.backupDir;
  if (options.postCommand) change.postCommand = settings::wordsOfCommand(*options.postCommand);
  change.index = valueOf(options.index, indexWords());
  change.format = valueOf(options.format, formatWords());
  change.atLogin = options.atLogin;
  change.measure = options.measure;
  if (options.size) change.size = settings::bytesFromText(*options.size);
  if (!options.size || change.size) return {};
  return Refusal{kWrongUsage, "\"" + *options.size + "\" is not a size of a disk",
                 std::string(kSizeForms) + ", from 128M to 128G"};
}

// A path stands for the directory's name and the one above it, and keeps its contents.
Allowed usePath(const std::string& given, DiskOptions& disk) {
  using platform::FileKind;
  if (given.empty()) return {};
  if (disk.name || disk.directory)
    return Refusal{kWrongUsage, "a path stands for both --name and --directory",
                   "leave these or the path out"};
  const std::string path = settings::absolutePath(given);
  const FileKind kind = platform::services().files->kind(path);
  if (kind == FileKind::Missing)
    return Refusal{kRefused, "there is no directory " + path, "make it first or choose another"};
  if (kind != FileKind::Directory)
    return Refusal{kRefused, path + " is not a directory", "choose a directory"};
  if (realPath(path) == "/")
    return Refusal{kRefused, "a disk cannot replace the root directory", "choose a directory"};
  disk.name = extensions::lastPathComponent(path);
  disk.directory = extensions::deletingLastPathComponent(path);
  if (!disk.backup && !disk.backupDir) disk.backup = backupWords().of(QVRamDiskBackupMode_Base);
  return {};
}

Allowed configure(QVRamDisk& disk, const DiskOptions& options,
                  const std::vector<QVRamDiskPtr>& all) {
  settings::Change change;
  if (auto read = readOptions(options, change); !read) return read;
  if (const auto applied = settings::apply(disk, change); !applied)
    return refusalOf(applied.error());
  if (const auto placed = settings::checkPlace(disk, all); !placed)
    return refusalOf(placed.error());
  if (const auto kept = settings::checkBackup(disk, all); !kept) return refusalOf(kept.error());
  return allowedBy(settings::checkContents(disk));
}

void warnOfHiding(Context& context, const QVRamDisk& disk) {
  const auto note = settings::noteOnContents(disk);
  if (note) return;
  const auto [what, todo] = commandSentence(note.error().trouble, note.error().facts);
  context.warn(what + "; " + todo);
}

std::string addedText(const QVRamDisk& disk) {
  return printable(nameOf(disk)) + ": added, " + settings::sizeText(disk.size()) +
         ", to be mounted at " + printable(disk.shownPath());
}

Allowed changeDisk(QVRamDisk& disk, const DiskOptions& options,
                   const std::vector<QVRamDiskPtr>& all) {
  settings::Change change;
  if (auto read = readOptions(options, change); !read) return read;
  return allowedBy(settings::change(disk, change, all));
}

Allowed mayRemove(const std::vector<QVRamDiskPtr>& disks, const std::vector<QVRamDiskPtr>& all) {
  settings::DiskState state(all);
  for (const auto& disk : disks)
    if (const auto may = settings::checkRemoving(*disk, state); !may) return refusalOf(may.error());
  return {};
}

std::string namesWithBackup(const std::vector<QVRamDiskPtr>& disks) {
  std::string names;
  for (const auto& disk : disks)
    if (settings::backupLostByRemoving(*disk)) names += (names.empty() ? "" : ", ") + nameOf(*disk);
  return names;
}

bool areSame(const std::vector<QVRamDiskPtr>& ones, const std::vector<QVRamDiskPtr>& others) {
  return std::equal(
      ones.begin(), ones.end(), others.begin(), others.end(),
      [](const auto& one, const auto& other) { return one->identifier() == other->identifier(); });
}

// The names may mean others since the user agreed.
Allowed takeOut(const std::vector<QVRamDiskPtr>& agreed, const std::vector<std::string>& names,
                QVRamDiskEntries& entries) {
  const auto selection = selectDisks(entries.ramDisks(), names);
  if (!selection) return selection.error();
  if (!areSame(*selection, agreed))
    return Refusal{kActionFailed, "another program changed the list meanwhile", "try again"};
  if (auto may = mayRemove(*selection, entries.ramDisks()); !may) return may;
  for (const auto& disk : *selection) entries.takeOut(disk);
  return {};
}

Allowed moveTo(std::int64_t position, const QVRamDiskPtr& disk, QVRamDiskEntries& entries) {
  const auto count = static_cast<std::int64_t>(entries.ramDisks().size());
  if (position < 1 || position > count)
    return Refusal{kWrongUsage, fmt::format("there is no position {}", position),
                   fmt::format("choose from 1 to {}", count)};
  const auto current = entries.indexOfRamDiskWithIdentifier(disk->identifier());
  // The registry counts gaps: behind its present place the disk itself lies before the gap.
  const auto index = position - 1;
  entries.setPositionIndex(index > current ? index + 1 : index, disk);
  return {};
}

}  // namespace

int verbs::add(Context& context, const AddRequest& request) {
  DiskOptions options = request.disk;
  if (const auto used = usePath(request.path, options); !used) return context.refuse(used.error());
  Registry registry;
  QVRamDiskPtr disk;
  const auto changed = registry.change(context, [&]() -> Allowed {
    disk = registry.entries().addRamDisk();
    if (!disk) return refusalOf({.trouble = Trouble::Full});
    return configure(*disk, options, registry.disks());
  });
  if (!changed) return context.refuse(changed.error());
  if (disk->createAtLogin()) registry.entries().synchronizeHelper();
  context.say(addedText(*disk));
  warnOfHiding(context, *disk);
  return kDone;
}

int verbs::set(Context& context, const SetRequest& request) {
  Registry registry;
  QVRamDiskPtr disk;
  const auto changed = registry.change(context, [&]() -> Allowed {
    const auto selection = selectDisks(registry.disks(), {request.disk});
    if (!selection) return selection.error();
    disk = selection->front();
    return changeDisk(*disk, request.changes, registry.disks());
  });
  if (!changed) return context.refuse(changed.error());
  if (request.changes.atLogin) registry.entries().synchronizeHelper();
  context.say(printable(nameOf(*disk)) + ": changed");
  if (request.changes.backup || request.changes.backupDir || request.changes.directory ||
      request.changes.name || request.changes.kind)
    warnOfHiding(context, *disk);
  return kDone;
}

int verbs::remove(Context& context, const RemoveRequest& request) {
  auto registry = openRegistry(context);
  if (!registry) return registry.error();
  const auto selection = selectDisks(registry->disks(), request.names);
  if (!selection) return context.refuse(selection.error());
  if (const auto may = mayRemove(*selection, registry->disks()); !may)
    return context.refuse(may.error());
  const auto names = namesWithBackup(*selection);
  if (!names.empty())
    if (const auto agreed = context.confirm(request.yes, "deleting the backup of " + names);
        !agreed)
      return agreed.error();
  const auto changed = registry->change(
      context, [&] { return takeOut(*selection, request.names, registry->entries()); });
  if (!changed) return context.refuse(changed.error());
  for (const auto& disk : *selection) disk->deleteBackupDirs();
  registry->entries().synchronizeHelper();
  for (const auto& disk : *selection) context.say(printable(nameOf(*disk)) + ": removed");
  return kDone;
}

int verbs::move(Context& context, const MoveRequest& request) {
  Registry registry;
  QVRamDiskPtr disk;
  const auto changed = registry.change(context, [&]() -> Allowed {
    const auto selection = selectDisks(registry.disks(), {request.disk});
    if (!selection) return selection.error();
    disk = selection->front();
    return moveTo(request.position, disk, registry.entries());
  });
  if (!changed) return context.refuse(changed.error());
  context.say(fmt::format("{}: now at position {}", printable(nameOf(*disk)), request.position));
  return kDone;
}

}  // namespace cli
