#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/QVError.h"
#include "core/QVRamDiskTypes.h"

// The extended attribute of a volume's root that tells whose it is. It marks volumes of every
// version of the program and must never change.
inline constexpr char kRamDiskInfoAttributeName[] = "com.tarnvale.RamDiskInfo";

// One RAM device of the program.
struct QVDeviceListEntry {
  std::string devNode;
  std::optional<std::string> mountPoint;  // absent while not mounted
  std::optional<std::string> uuid;        // of the volume; only when asked for
  std::optional<std::int32_t> st_dev;     // of the mount point; only when asked for
};

// The RAM devices and their volumes. Stateless; any thread. What runs an external tool blocks until
// the tool has ended.
class QVRamDiskDevice {
 public:
  using Infos = std::map<std::string, std::string>;
  using Text = std::optional<std::string>;

  // --- Finding devices (QVRamDiskDevice_Discovery.cpp)

  // The memory-backed images with exactly one entity. nullopt with `error` set when the tool fails;
  // output that is no property list lists nothing.
  static std::optional<std::vector<QVDeviceListEntry>> deviceList(bool withIdentity,
                                                                  QVErrorPtr& error);
  // Both look through the mount table, for volumes of our type only, and compare byte for byte.
  // nullopt without an error means that nothing matched.
  static Text deviceNodeFromPath(const Text& path, QVErrorPtr& error);
  static Text mountPointFromDeviceNode(const Text& deviceNode, QVErrorPtr& error);

  // 1 when the path is the root of another volume than its parent's, 0 when it is not, -1 when that
  // cannot be told.
  static std::int64_t hasMountedVolumeAtPath(const Text& path);

  // --- The information record of a volume (QVRamDiskDevice_Infos.cpp)

  // Keys "identifier" and "deviceNode". An empty record is never written and reads as none.
  static bool setExtendedRamDiskInfos(const Infos& infos, const Text& path);
  static bool getExtentedRamDiskInfos(Infos& infos, const Text& path);

  // --- Mounting and ejecting (QVRamDiskDevice_Mounting.cpp)

  // Mounts the device's volume at `directory`/`name`, or where the platform shows volumes when no
  // directory is given, and labels it. An older volume of the program there is ejected first. On
  // failure the device stays attached and a directory that was made stays.
  static QVErrorPtr mountDeviceNode(const Text& deviceNode, const Text& directory, const Text& name,
                                    QVRamDiskFormat format, QVRamDiskType type,
                                    const Text& identifier, Text& mountedPath);
  // Unmounts, removes the mount directory when asked to and when it holds only system files, and
  // detaches the device with all it holds. A failed unmount leaves all as it was.
  static QVErrorPtr ejectRamDiskDeviceNode(const Text& deviceNode, const Text& path,
                                           bool removeDir);
  static QVErrorPtr forceEjectRamDiskAtPath(const Text& path);

  // --- Post-commands (QVRamDiskDevice_PostCommand.cpp)

  static bool canStartPostCommand(const Text& command, Text* raison);
  static std::string completePostCommand(const std::string& command);
};
