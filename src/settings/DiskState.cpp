#include "settings/DiskState.h"

#include <algorithm>
#include <cmath>

#include "device/QVRamDiskDevice.h"
#include "kinds/QVRamDiskManager.h"
#include "system/QVMacInfo.h"

namespace settings {
namespace {

std::set<std::string> waitingDevices() {
  QVErrorPtr error;
  const auto devices = QVRamDiskDevice::deviceList(false, error);
  std::set<std::string> nodes;
  if (!devices) return nodes;
  for (const auto& device : *devices)
    if (!device.mountPoint) nodes.insert(device.devNode);
  return nodes;
}

}  // namespace

bool DiskState::hasWaitingDevice(const QVRamDisk& disk) {
  const auto node = disk.deviceNode();
  if (!node) return false;
  const bool isClaimed = std::any_of(all_.begin(), all_.end(), [&](const auto& other) {
    return other.get() != &disk && other->deviceNode() == node;
  });
  if (isClaimed) return false;
  if (!waiting_) waiting_ = waitingDevices();
  return waiting_->contains(*node);
}

QVRamDiskStatus DiskState::status(const QVRamDisk& disk) {
  const auto observed = disk.status();
  if (observed != QVRamDiskStatus_notCreated) return observed;
  return hasWaitingDevice(disk) ? QVRamDiskStatus_created : observed;
}

int usedPercent(const QVRamDisk& disk) {
  constexpr double kPercent = 100;
  return static_cast<int>(std::lround(disk.diskUsage() * kPercent));
}

MemoryFacts memoryFactsFor(const QVRamDisk& disk, const std::vector<QVRamDiskPtr>& all,
                           DiskState& state) {
  MemoryFacts facts{.physical = QVMacInfo::physicalMemory(),
                    .reserve = QVRamDiskManager::memoryReserve()};
  for (const auto& other : all)
    if (other->identifier() != disk.identifier() &&
        state.status(*other) != QVRamDiskStatus_notCreated)
      facts.others += other->volSize() > 0 ? other->volSize() : other->size();
  return facts;
}

}  // namespace settings
