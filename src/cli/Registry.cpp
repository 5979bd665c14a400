#include "cli/Registry.h"

#include <algorithm>

namespace cli {
namespace {

Refusal noFolder() {
  return {kActionFailed, "the folder of the registry cannot be had",
          "check the permissions of your home directory"};
}

// A device belongs to the disk that was created last; what others remember of it is outdated.
void claimDevice(std::vector<QVRamDiskPtr>& records, const QVRamDiskPtr& owner) {
  if (!owner->deviceNode() || owner->status() == QVRamDiskStatus_notCreated) return;
  for (const auto& record : records)
    if (record != owner && record->deviceNode() == owner->deviceNode())
      record->setDeviceNode(std::nullopt);
}

}  // namespace

Registry::Registry(std::shared_ptr<QVRamDiskEntriesDelegate> delegate)
    : entries_(QVRamDiskEntries::initWithDelegate(std::move(delegate))) {}

std::optional<Refusal> Registry::load(Context& context) {
  const auto path = RegistryFile::defaultPath();
  if (!path) return noFolder();
  RegistryFile file(*path);
  const auto contents = file.read();
  if (!contents && file.isDamaged())
    return Refusal{kActionFailed, "the registry " + *path + " cannot be read",
                   "restore it from a backup or move it away to start with an empty list"};
  if (file.isDamaged() && !warned_)
    context.warn("part of the registry " + *path +
                 " cannot be read; a copy of it is kept before it is changed");
  warned_ = warned_ || file.isDamaged();
  entries_->readRamDisksFromDefaultLocation();
  return std::nullopt;
}

std::optional<Refusal> Registry::saved(bool written) const {
  if (!written)
    return Refusal{
        kActionFailed,
        "the registry " + RegistryFile::defaultPath().value_or("") + " cannot be written",
        "check the permissions of its folder and the free space there"};
  QVRamDiskEntries::postDidChangeToAllNotificationWithSender(kSenderApp);
  return std::nullopt;
}

std::optional<Refusal> Registry::save() {
  return saved(entries_->writeRamDisksToDefaultLocation());
}

std::optional<Refusal> Registry::saveDisk(const QVRamDiskPtr& disk) {
  const auto path = RegistryFile::defaultPath();
  if (!path) return noFolder();
  RegistryFile file(*path);
  auto contents = file.read();
  if (!contents) return save();
  auto& records = contents->ramDisks;
  const auto found = std::find_if(records.begin(), records.end(),
                                  [&](const auto& record) { return disk->isEqual(record); });
  if (found == records.end()) {
    records.push_back(disk);
  } else {
    *found = disk;
  }
  claimDevice(records, disk);
  return saved(file.write(*contents));
}

std::optional<Registry> openRegistry(Context& context, int& status) {
  Registry registry;
  const auto refusal = registry.load(context);
  if (!refusal) return registry;
  status = context.refuse(*refusal);
  return std::nullopt;
}

}  // namespace cli
