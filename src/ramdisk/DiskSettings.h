#pragma once
// The two halves of what is known of a disk, as plain values: how it is configured, and what was
// last seen of it. What follows from the settings alone is said here, and nowhere else: where its
// volume goes, where its contents are kept, and whose its mount directory is.
//
// Contents are kept in one of two places, or in none. In the base: while the disk is mounted the
// directory's own contents lie beside it as the saved base, saves go into that, and an eject puts
// it back in the directory's place. In a backup folder: the directory is left alone, saves go into
// the folder, and the next creation fills the volume from it.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/QVError.h"
#include "core/QVRamDiskTypes.h"

struct DiskSettings {
  using Text = std::optional<std::string>;

  QVRamDiskType type{};
  QVRamDiskFormat format{};
  Text name;               // of the volume
  std::uint64_t size = 0;  // bytes
  // The volume is mounted over this directory's sub-directory `name`; absent: where the platform
  // shows volumes.
  Text mountDirectory;
  Text givenPath;  // the mount path as it was given, where links lead it elsewhere; only shown
  Text simId;
  bool preferWired = false;
  bool createAtLogin = false;
  bool doNotCalculateBaseSize = false;
  Text postCmd;
  std::optional<std::vector<std::string>> postCmdArgs;
  QVRamDiskMdIndexMode mdIndexMode{};
  QVRamDiskBackupMode backupMode{};
  Text backupDir;

  std::string mountPath() const;
  // Makes name and mount directory say where the mount path really leads. A disk is never mounted
  // over a link, nor is a link set aside in place of the directory behind it; a link that is turned
  // elsewhere while the disk is mounted takes nothing of it along.
  void useRealPlace();
  // The mount path as its user knows it.
  std::string shownPath() const;
  // nullopt without a directory that could be set aside.
  Text savedBase() const;
  // nullopt where the mode has no backup folder.
  Text backupFolder(const Text& identifier) const;

  // The disk must be larger than half as much again as what it is filled with.
  bool hasRoomFor(std::uint64_t bytes) const;

  bool isKeptInBase() const;
  // Where saves go; nullopt for a disk whose contents are not kept.
  Text folderOfSaves(const Text& identifier) const;
  // Only a plain disk that is not kept in its base owns its mount directory, which goes with it.
  bool ownsMountDirectory() const;
};

struct DiskObservation {
  using Text = std::optional<std::string>;

  QVRamDiskStatus status{};
  Text deviceNode;
  Text path;  // mount point while mounted
  Text uuid;  // from older archives only, as is devUUID
  std::optional<std::int64_t> devUUID;
  std::uint64_t volSize = 0;  // bytes
  std::uint64_t volFree = 0;  // bytes
  QVRamDiskAction action{};
  QVRamDiskActionInfo lastActionInfo{};
  QVErrorPtr lastError;
  // What the user is to be told of the last action besides whether it failed: sentences, localised.
  std::vector<std::string> notices;

  std::uint64_t usedBytes() const { return volSize > volFree ? volSize - volFree : 0; }
};
