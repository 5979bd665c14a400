#include "ramdisk/ObservedState.h"

#include <algorithm>

#include "core/QVLog.h"

namespace {

// Records of the oldest registries may have no identifier.
bool areOfOneDisk(const QVRamDisk& a, const QVRamDisk& b) {
  if (&a == &b) return true;
  return a.identifier() == b.identifier() && (a.identifier() || a.name() == b.name());
}

bool hasDevice(const QVRamDisk& disk) {
  return disk.deviceNode() && disk.status() != QVRamDiskStatus_notCreated;
}

void claimDevice(const std::vector<QVRamDiskPtr>& records, const QVRamDisk& owner) {
  for (const auto& record : records)
    if (!areOfOneDisk(*record, owner) && record->deviceNode() == owner.deviceNode())
      record->setDeviceNode(std::nullopt);
}

}  // namespace

void takeOnState(QVRamDisk& record, const QVRamDisk& observed) {
  record.setStatus(observed.status());
  record.setDeviceNode(observed.deviceNode());
  record.setPath(observed.path());
  record.setVolSize(observed.volSize());
  record.setVolFree(observed.volFree());
  record.setLastActionInfo(observed.lastActionInfo());
  record.setLastError(observed.lastError());
}

void putState(std::vector<QVRamDiskPtr>& records, const QVRamDiskPtr& observed) {
  const auto found = std::find_if(records.begin(), records.end(), [&](const auto& record) {
    return areOfOneDisk(*record, *observed);
  });
  if (found != records.end()) {
    takeOnState(**found, *observed);
  } else if (hasDevice(*observed)) {
    QVLogWarning("QVRamDiskEntries",
                 "{} was removed from the list while it was created; it is listed again",
                 QVText(observed->name()));
    records.push_back(observed);
  }
  if (hasDevice(*observed)) claimDevice(records, *observed);
}
