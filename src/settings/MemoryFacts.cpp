#include "settings/MemoryFacts.h"

#include "kinds/QVRamDiskManager.h"
#include "system/QVMacInfo.h"

namespace settings {

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
