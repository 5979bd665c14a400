#include "cli/ActionVerb.h"

#include <fmt/format.h>

#include "cli/ActionQueue.h"
#include "cli/DiskNames.h"
#include "cli/DiskRecovery.h"
#include "cli/Registry.h"
#include "settings/DiskState.h"
#include "settings/SizeText.h"

namespace cli {
namespace {

// The disks that a confirmation is about; the others are refused when their turn comes.
std::string namesToConfirm(const ActionVerb& verb, const std::vector<QVRamDiskPtr>& disks,
                           const std::vector<QVRamDiskPtr>& all) {
  settings::DiskState state(all);
  std::string names;
  for (const auto& disk : disks)
    if (!verb.refusal(*disk, state.status(*disk)))
      names += (names.empty() ? "" : ", ") + nameOf(*disk);
  return names;
}

}  // namespace

int runAction(Context& context, const ActionVerb& verb, const ActionRequest& request) {
  if (request.names.empty() != request.all)
    return context.refuse(
        kWrongUsage, request.all ? "--all goes without names" : "no disk is named",
        fmt::format("write 'tarnvale {0} DISK...' or 'tarnvale {0} --all'", verb.name));
  int status = kDone;
  auto registry = openRegistry(context, status);
  if (!registry) return status;
  Selection selection = selectDisks(registry->disks(), request.names);
  if (selection.refusal) return context.refuse(*selection.refusal);
  if (request.all) selection.disks = registry->disks();
  status = recoverBeforeAction(context, verb, *registry, selection.disks);
  if (verb.question) {
    const auto names = namesToConfirm(verb, selection.disks, registry->disks());
    if (!names.empty())
      if (const auto refused = context.confirm(request.yes, verb.question + (" " + names)))
        return *refused;
  }
  ActionQueue queue(context, verb, request);
  for (const auto& disk : selection.disks) queue.add(*disk);
  return combined(status, queue.run());
}

std::string mountedText(const QVRamDisk& disk) {
  return fmt::format("mounted at {} ({}, {} % used)", disk.path().value_or(""),
                     settings::sizeText(disk.volSize()), settings::usedPercent(disk));
}

std::optional<Refusal> unlessMounted(const QVRamDisk& disk, QVRamDiskStatus status) {
  if (status == QVRamDiskStatus_mounted) return std::nullopt;
  if (status == QVRamDiskStatus_created)
    return Refusal{kActionFailed, nameOf(disk) + " is not mounted",
                   "'tarnvale remount' mounts it with its contents"};
  return Refusal{kActionFailed, nameOf(disk) + " is not created", "'tarnvale create' makes it"};
}

}  // namespace cli
