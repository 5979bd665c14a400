#pragma once

#include <cstdint>

#include "settings/DiskState.h"

namespace settings {

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
