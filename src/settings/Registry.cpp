#include "settings/Registry.h"

#include <algorithm>

namespace settings {
namespace {

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

std::optional<Problem> Registry::load() {
  const auto path = RegistryFile::defaultPath();
  if (!path) return Problem{.reason = Reason::NoFolder};
  RegistryFile file(*path);
  const auto contents = file.read();
  if (!contents && file.isDamaged()) return Problem{.reason = Reason::Unreadable, .path = *path};
  partlyDamaged_ = file.isDamaged();
  entries_->readRamDisksFromDefaultLocation();
  return std::nullopt;
}

std::optional<Problem> Registry::saved(bool written) const {
  if (!written)
    return Problem{.reason = Reason::Unwritable, .path = RegistryFile::defaultPath().value_or("")};
  QVRamDiskEntries::postDidChangeToAllNotificationWithSender(kSenderApp);
  return std::nullopt;
}

std::optional<Problem> Registry::save() {
  return saved(entries_->writeRamDisksToDefaultLocation());
}

std::optional<Problem> Registry::saveDisk(const QVRamDiskPtr& disk) {
  const auto path = RegistryFile::defaultPath();
  if (!path) return Problem{.reason = Reason::NoFolder};
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

}  // namespace settings
