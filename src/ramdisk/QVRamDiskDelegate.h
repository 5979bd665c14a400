#pragma once

#include <cstdint>
#include <memory>

class QVRamDisk;

// How far a copy has come. The total is what was known when it began and may be exceeded.
struct QVRamDiskProgress {
  std::uint64_t bytes = 0;
  std::uint64_t entries = 0;
  std::uint64_t totalBytes = 0;  // 0: not known
};

// Who follows a record's actions. Called on the thread of the action.
class QVRamDiskDelegate {
 public:
  virtual ~QVRamDiskDelegate() = default;

  // A stage began or the action ended; at the end the record's action is none.
  virtual void ramDiskDidUpdated(const std::shared_ptr<QVRamDisk>& ramDisk) = 0;

  // Contents are being copied; at most 20 times a second.
  virtual void ramDiskDidProgress(const std::shared_ptr<QVRamDisk>&, const QVRamDiskProgress&) {}
};

using QVRamDiskDelegatePtr = std::shared_ptr<QVRamDiskDelegate>;
