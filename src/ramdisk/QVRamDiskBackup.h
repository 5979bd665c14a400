#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/QVError.h"
#include "system/TreeCopier.h"

// Copies a volume's top-level items into a folder, keeping the folder's previous generation until
// the copy is complete, and back into a volume. Names that the system keeps for itself are left
// alone. Stateless; any thread.
class QVRamDiskBackup {
 public:
  using Text = std::optional<std::string>;
  using Progress = std::function<void(const CopyProgress&)>;

  static QVRamDiskBackup& sharedInstance();

  // Too little room at the destination is an error, found before anything is touched.
  // The previous generation lies beside the folder with `previousExt` as its extension. Items that
  // cannot be copied are logged, keep the previous generation in place, and are no error.
  QVErrorPtr backupRamDiskAtPath(const Text& path, const Text& backupPath,
                                 const std::string& previousExt,
                                 const Progress& progress = {}) const;

  // An item that the volume has already is kept. A folder that cannot be listed restores nothing.
  QVErrorPtr restoreRamDiskAtPath(const Text& path, const Text& backupDirPath,
                                  const Progress& progress = {}) const;

  // Whether backup, restore and clean-up leave the name alone.
  static bool leavesAlone(const std::string& name);
};
