#include <CLI/CLI.hpp>
#include <algorithm>

#include "cli/Columns.h"
#include "cli/DiskNames.h"
#include "cli/Refusals.h"
#include "cli/Registry.h"
#include "cli/verbs/Verbs.h"
#include "settings/Edits.h"
#include "settings/Validation.h"

namespace cli::verbs {
namespace {

std::optional<Refusal> refusal(const std::vector<QVRamDiskPtr>& disks,
                               const std::vector<QVRamDiskPtr>& all) {
  settings::DiskState state(all);
  for (const auto& disk : disks)
    if (const auto problem = settings::problemOfRemoving(*disk, state)) return refusalOf(*problem);
  return std::nullopt;
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
std::optional<Refusal> takeOut(const std::vector<QVRamDiskPtr>& agreed,
                               const std::vector<std::string>& names, QVRamDiskEntries& entries) {
  const auto selection = selectDisks(entries.ramDisks(), names);
  if (selection.refusal) return selection.refusal;
  if (!areSame(selection.disks, agreed))
    return Refusal{kActionFailed, "another program changed the list meanwhile", "try again"};
  if (auto refused = refusal(selection.disks, entries.ramDisks())) return refused;
  for (const auto& disk : selection.disks) entries.takeOut(disk);
  return std::nullopt;
}

int remove(Context& context, const ActionRequest& request) {
  int status = kDone;
  auto registry = openRegistry(context, status);
  if (!registry) return status;
  const auto selection = selectDisks(registry->disks(), request.names);
  if (selection.refusal) return context.refuse(*selection.refusal);
  if (const auto problem = refusal(selection.disks, registry->disks()))
    return context.refuse(*problem);
  const auto names = namesWithBackup(selection.disks);
  if (!names.empty())
    if (const auto refused = context.confirm(request.yes, "deleting the backup of " + names))
      return *refused;
  const auto refused = registry->change(
      context, [&] { return takeOut(selection.disks, request.names, registry->entries()); });
  if (refused) return context.refuse(*refused);
  for (const auto& disk : selection.disks) disk->deleteBackupDirs();
  registry->entries().synchronizeHelper();
  for (const auto& disk : selection.disks) context.say(printable(nameOf(*disk)) + ": removed");
  return kDone;
}

}  // namespace

void remove(CLI::App& app, Invocation& invocation) {
  auto request = std::make_shared<ActionRequest>();
  auto* verb = app.add_subcommand(
      "remove", "Forget disks, and delete what the program's own folder keeps of their contents");
  verb->add_option("DISK", request->names, "Disks, by name, identifier or the beginning of one")
      ->required()
      ->type_name("");
  verb->add_flag("--yes", request->yes, "Do not ask before a backup is deleted");
  verb->callback([&invocation, request] {
    invocation.command = [request](Context& context) { return remove(context, *request); };
  });
}

}  // namespace cli::verbs
