#pragma once
// The enumerations that travel with a RAM disk. Their values are stored in archives and shown by
// name as localisation keys, misspellings included, so neither ever changes.

#include <cstdint>

enum QVRamDiskType : std::int64_t {
  QVRamDiskType_Default = 0,
  QVRamDiskType_Reserved = 1,  // has no preset; dropped when a registry is loaded
  QVRamDiskType_Safari = 2,
  QVRamDiskType_XcodeBuild = 3,
  QVRamDiskType_IOsSimulator = 4,
  QVRamDiskType_CoreSimulator = 5,
  QVRamDiskType_AppCodeCaches = 6,
  QVRamDiskType_Firefox = 7,
  QVRamDiskType_Chrome = 8,
  QVRamDiskType_Opera = 9,
};

enum QVRamDiskStatus : std::int64_t {
  QVRamDiskStatus_notCreated = 0,
  QVRamDiskStatus_created = 1,  // the device exists, its volume is not mounted
  QVRamDiskStatus_mounted = 2,
};

enum QVRamDiskFormat : std::int64_t {
  QVRamDiskFormat_HFSPlus = 0,
  QVRamDiskFormat_CaseSensitiveHFSPlus = 1,
};

enum QVRamDiskMdIndexMode : std::int64_t {
  QVRamDiskMdIndexMode_Unchanged = 0,
  QVRamDiskMdIndexMode_On = 1,
  QVRamDiskMdIndexMode_Off = 2,
};

enum QVRamDiskBackupMode : std::int64_t {
  QVRamDiskBackupMode_None = 0,
  QVRamDiskBackupMode_AppSupport = 1,
  QVRamDiskBackupMode_Directory = 2,
  QVRamDiskBackupMode_Base = 3,  // saved back into the directory that the disk is mounted over
};

enum QVRamDiskAction : std::int64_t {
  QVRamDiskActionNone = 0,
  QVRamDiskActionCreate = 1,
  QVRamDiskActionSyncWithBase = 2,
  QVRamDiskActionBackup = 3,
  QVRamDiskActionRemount = 4,
  QVRamDiskActionEject = 5,
  QVRamDiskActionCleanUpFiles = 6,
  QVRamDiskActionRebuild = 7,
};

enum QVRamDiskActionInfo : std::int64_t {
  QVRamDiskActionInfo_none = 0,
  QVRamDiskActionInfo_creatingCalculatingBaseDirSize = 1,
  QVRamDiskActionInfo_creating = 2,
  QVRamDiskActionInfo_creatingNewFileSystem = 3,
  QVRamDiskActionInfo_creatingMoutingVolume = 4,
  QVRamDiskActionInfo_creatingRecopingFromBase = 5,
  QVRamDiskActionInfo_creatingRestoring = 6,
  QVRamDiskActionInfo_creatingExecutingPostCommand = 7,
  QVRamDiskActionInfo_creatingMdIndexMode = 8,
  QVRamDiskActionInfo_copyingToBase = 9,
  QVRamDiskActionInfo_backuping = 10,
  QVRamDiskActionInfo_remounting = 11,
  QVRamDiskActionInfo_ejecting = 12,
};
