#pragma once

#include <memory>

#include "ramdisk/QVRamDisk.h"
#include "ramdisk/QVRamDiskBackup.h"

// Passes a copy's progress on to a record's delegate. `totalBytes` is 0 when nobody knows.
inline QVRamDiskBackup::Progress progressReport(const QVRamDiskPtr& disk,
                                                const QVRamDiskDelegatePtr& delegate,
                                                std::uint64_t totalBytes) {
  if (!delegate) return {};
  return [disk, delegate, totalBytes](const CopyProgress& copied) {
    delegate->ramDiskDidProgress(disk, {copied.bytes, copied.entries, totalBytes});
  };
}

// The bytes that the disk's volume holds, as last observed.
inline std::uint64_t usedBytes(const QVRamDisk& disk) {
  return disk.volSize() > disk.volFree() ? disk.volSize() - disk.volFree() : 0;
}
