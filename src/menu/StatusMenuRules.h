#pragma once
// What the files of the status menu's controller share: its fixed values, and what can be done to a
// disk.

#include <cstdint>

#include "ramdisk/QVRamDisk.h"

namespace menu {

// A disk's submenu has this title; every other submenu is titled with the path of its folder.
inline constexpr char kRamDiskMenuTitle[] = "RamDiskMenu";

// Tags of the commands on all disks.
inline constexpr std::int64_t kCreateAllTag = 1;
inline constexpr std::int64_t kEjectAllTag = 2;
inline constexpr std::int64_t kSynchroniseAllTag = 3;
inline constexpr std::int64_t kBackupAllTag = 4;

// Tags of the commands of one disk.
inline constexpr std::int64_t kCreateTag = 2;
inline constexpr std::int64_t kBackupNowTag = 1;
inline constexpr std::int64_t kSynchroniseNowTag = 2;

inline bool hasDevice(QVRamDiskStatus status) {
  return status == QVRamDiskStatus_created || status == QVRamDiskStatus_mounted;
}

inline bool isMountedAndIdle(const QVRamDisk& disk) {
  return disk.status() == QVRamDiskStatus_mounted && disk.action() == QVRamDiskActionNone;
}

// By the mode alone: a simulator's disk may be both.
inline bool isBackedUp(const QVRamDisk& disk) {
  return disk.backupMode() == QVRamDiskBackupMode_AppSupport ||
         disk.backupMode() == QVRamDiskBackupMode_Directory;
}

}  // namespace menu
