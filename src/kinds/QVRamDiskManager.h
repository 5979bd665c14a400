#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/QVRamDiskTypes.h"
#include "core/Trouble.h"
#include "platform/Canvas.h"

// What a kind of RAM disk takes on this machine. The texts and the size are there only with status
// 1 and, but for the plain kind, always then.
struct QVCreationInfos {
  std::int64_t status =
      0;  // 1 usable, 0 not now, -1 its application is not installed or unsuitable
  std::optional<std::string> name{};            // of the volume and of the directory it replaces
  std::optional<std::string> mountDirectory{};  // absolute path of the directory above it
  std::optional<std::uint64_t> size{};          // bytes
};

// The kinds of RAM disk: their presets, the applications behind them, and the checks made before
// one is created. Any thread.
class QVRamDiskManager {
 public:
  using Message = std::optional<std::string>;

  // --- Presets (QVRamDiskManager.cpp)

  // nullopt for kinds that have no preset.
  static std::optional<QVCreationInfos> creationInfosOfRamDiskType(
      QVRamDiskType type, const std::optional<std::string>& simId);

  // The folder of the registry and of backups, made when missing. nullopt, logged, when it cannot
  // be.
  static std::optional<std::string> appSupportPath();

  // `message` may be null; it is then set to say who runs, or to nullopt.
  static bool hasRunningApplication(const std::optional<std::string>& bundleIdentifier,
                                    Message* message);
  static bool hasRunningAppForType(QVRamDiskType type, Message* message);
  static Checked checkApplication(QVRamDiskType type);

  static std::optional<std::string> favoriteXcodePath();
  static std::optional<std::string> favoriteSafariPath();
  static std::optional<std::string> favoriteFirefoxAppPath();
  static std::optional<std::string> favoriteChromeAppPath();
  static std::optional<std::string> favoriteOperaAppPath();

  // --- Validation (QVRamDiskValidation.cpp). The first fault decides.

  // All that a creation checks, in its order: the application, the name, the size, the directory,
  // the memory.
  static Checked checkCreation(const std::optional<std::string>& name, std::uint64_t size,
                               QVRamDiskType type,
                               const std::optional<std::string>& mountDirectory);
  static Checked checkName(const std::optional<std::string>& name);
  static Checked checkSize(std::uint64_t size);
  static Checked checkMountDirectory(const std::optional<std::string>& directory,
                                     const std::optional<std::string>& name, QVRamDiskType type);
  // Whether the file system takes the names that the disk's contents go by beside the directory.
  static Checked checkNameFits(const std::optional<std::string>& directory,
                               const std::optional<std::string>& name);
  static Checked checkMemory(std::uint64_t size);

  // The same with the localised message of what was found.
  static bool canCreateWithName(const std::optional<std::string>& name, std::uint64_t size,
                                QVRamDiskType type,
                                const std::optional<std::string>& mountDirectory, Message& message);
  static bool canUseMountDirectory(const std::optional<std::string>& directory,
                                   const std::optional<std::string>& name, QVRamDiskType type,
                                   Message& message);
  // Bytes of the machine's memory that no RAM disk may take.
  static std::uint64_t memoryReserve();
  // The text of an action in progress; nullopt for none.
  static std::optional<std::string> displayStringFromAction(QVRamDiskAction action,
                                                            QVRamDiskActionInfo info);

  // --- Icons (QVRamDiskManager_Icons.cpp), looked up once

  // The picture of RAM disks for 16 or 128 points; null for any other size.
  static platform::ImagePtr ramDiskIcon(double size);
  // The icon of a kind's application, whatever the size, null where that is not installed; the
  // picture of RAM disks for kinds without one.
  static platform::ImagePtr imageOfType(QVRamDiskType type, double size);
  // The same, for kinds that stand for an application only.
  static platform::ImagePtr specificIconFromType(QVRamDiskType type, double size);

  // Forgets what is kept for the life of the process, for tests that change the machine.
  static void forgetCachedAnswers();
};
