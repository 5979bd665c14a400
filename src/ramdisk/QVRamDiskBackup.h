#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/QVError.h"
#include "ramdisk/Save.h"
#include "system/TreeCopier.h"

// Copies a volume's top-level items into a folder, keeping the folder's previous generation until
// the copy is complete, and back into a volume. Names that the system keeps for itself are left
// alone. Stateless; any thread.
class QVRamDiskBackup {
 public:
  using Text = std::optional<std::string>;
  using Progress = std::function<void(const CopyProgress&)>;

  // Entries that a volume does not hold because they could not be read or had no room.
  struct Lacking {
    std::vector<std::string> paths;  // relative to the volume
    bool unlisted = false;           // there were more
    bool empty() const { return paths.empty() && !unlisted; }
  };

  static QVRamDiskBackup& sharedInstance();

  // Too little room at the destination is an error, found before anything is touched, and so is a
  // volume whose contents never came in whole. See Save.cpp for how the generations change.
  // The previous generation lies beside the folder with `previousExt` as its extension. Items that
  // cannot be copied are logged, keep the previous generation in place, and are no error here;
  // saveVolume() names them.
  QVErrorPtr backupRamDiskAtPath(const Text& path, const Text& backupPath,
                                 const std::string& previousExt, const Progress& progress = {},
                                 SaveCare care = SaveCare::TrustTimes) const;

  // An item that the volume has already is kept. A folder that cannot be listed restores nothing;
  // of a generation that is not whole the previous one is restored. `lacking`, where it is given,
  // gets what could not be brought in added.
  QVErrorPtr restoreRamDiskAtPath(const Text& path, const Text& backupDirPath,
                                  const Progress& progress = {}, Lacking* lacking = nullptr) const;

  // Whether backup, restore and clean-up leave the name alone.
  static bool leavesAlone(const std::string& name);

  // A folder stands for the volume, and the volume for a folder: what is private stays private.
  // What the program keeps with either is no part of that.
  static void takeOnAttributes(const std::string& from, const std::string& to);
};
