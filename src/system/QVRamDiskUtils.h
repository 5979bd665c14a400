#pragma once

// Freeing the machine's inactive memory, where the system offers it.
class QVRamDiskUtils {
 public:
  static bool canPurgeMemory();
  static bool purgeMemory();  // starts the tool and does not wait for it
};
