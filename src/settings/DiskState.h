#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/QVRamDiskTypes.h"
#include "ramdisk/QVRamDisk.h"

namespace settings {

// What is known of the disks at one moment, with the devices that wait without a mounted volume. A
// disk whose volume was unmounted by somebody else counts as not created for the engine as soon as
// its directory shows again; here it is told from one whose memory is gone. Main thread only.
class DiskState {
 public:
  explicit DiskState(const std::vector<QVRamDiskPtr>& all) : all_(all) {}

  // Asks the attacher for its devices at most once, and only for a disk that remembers one.
  QVRamDiskStatus status(const QVRamDisk& disk);

 private:
  bool hasWaitingDevice(const QVRamDisk& disk);

  const std::vector<QVRamDiskPtr>& all_;
  std::optional<std::set<std::string>> waiting_;  // nodes of devices without a mounted volume
};

// The used part of the disk's volume in whole per cent.
int usedPercent(const QVRamDisk& disk);

// The machine's memory as far as disks can have it, in bytes.
struct MemoryFacts {
  std::uint64_t physical = 0;
  std::uint64_t reserve = 0;  // what validation leaves to the system
  std::uint64_t others = 0;   // what other disks take that are created

  // What is left for one more disk; 0 when they take more than there is.
  std::uint64_t available() const {
    const auto taken = reserve + others;
    return physical > taken ? physical - taken : 0;
  }
};

// As it is for this disk.
MemoryFacts memoryFactsFor(const QVRamDisk& disk, const std::vector<QVRamDiskPtr>& all,
                           DiskState& state);

}  // namespace settings
