#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/QVError.h"
#include "core/QVRamDiskTypes.h"
#include "system/DiskPlaces.h"

// One RAM device of the program.
struct QVDeviceListEntry {
  std::string devNode;
  std::optional<std::string> mountPoint;  // absent while not mounted
  std::optional<std::string> uuid;        // of the volume; only when asked for
  std::optional<std::int32_t> st_dev;     // of the mount point; only when asked for
};

// What a volume is when it is mounted.
enum class QVVolumeState {
  New,            // empty, and to stay so
  NewToBeFilled,  // empty; it is marked as one whose contents are not in yet
  Known,          // it must carry the disk's identifier already: node names are given out again
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

  // --- The information record of a volume, which tells whose it is (QVRamDiskDevice_Discovery.cpp)

  // Keys "identifier" and "deviceNode". An empty record is never written and reads as none.
  static bool setExtendedRamDiskInfos(const Infos& infos, const Text& path);
  static bool getExtentedRamDiskInfos(Infos& infos, const Text& path);
  static Infos infosOf(const std::string& deviceNode, const Text& identifier);
  static Text deviceNodeIn(const Infos& infos);
  // A disk without an identifier owns none.
  static bool belongsTo(const Text& identifier, const Infos& infos);
  static bool isVolumeOf(const Text& identifier, const Text& path);

  // --- Mounting and ejecting (QVRamDiskDevice_Mounting.cpp)

  // Mounts the device's volume at `directory`/`name`, or where the platform shows volumes when no
  // directory is given, and labels it. An older volume of the program there is ejected first. On
  // failure the device stays attached and a directory that was made stays.
  static QVErrorPtr mountDeviceNode(const Text& deviceNode, const Text& directory, const Text& name,
                                    QVRamDiskFormat format, QVRamDiskType type,
                                    const Text& identifier, Text& mountedPath,
                                    QVVolumeState state = QVVolumeState::New);
  // Mounts it where nothing is mounted, as it is, to see whose it is. Not where only the system can
  // mount, which would erase it.
  static QVErrorPtr mountAsItIs(const std::string& deviceNode, const std::string& path);
  static QVErrorPtr unmount(const std::string& path);
  // Lets nobody write to the volume where it is mounted, or everybody again. Refused, with nothing
  // changed, while a file there is open for writing.
  static QVErrorPtr setWritable(const Text& deviceNode, const Text& path, bool writable);
  // Unmounts, removes the mount directory when asked to and when it holds only system files, and
  // detaches the device with all it holds. A failed unmount leaves all as it was.
  static QVErrorPtr ejectRamDiskDeviceNode(const Text& deviceNode, const Text& path,
                                           bool removeDir);
  static QVErrorPtr forceEjectRamDiskAtPath(const Text& path);

  // --- Post-commands (QVRamDiskDevice_PostCommand.cpp)

  static bool canStartPostCommand(const Text& command, Text* raison);
  static std::string completePostCommand(const std::string& command);
};
