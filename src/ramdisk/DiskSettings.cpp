#include "ramdisk/DiskSettings.h"

#include "kinds/QVRamDiskManager.h"
#include "system/DiskPlaces.h"

namespace {

using Text = DiskSettings::Text;

}  // namespace

std::string DiskSettings::mountPath() const { return disk_places::mountPath(mountDirectory, name); }

Text DiskSettings::savedBase() const {
  if (!mountDirectory || !name) return std::nullopt;
  return disk_places::savedBase(*mountDirectory, *name);
}

Text DiskSettings::backupFolder(const Text& identifier) const {
  const bool inSupport = backupMode == QVRamDiskBackupMode_AppSupport;
  if (!inSupport && backupMode != QVRamDiskBackupMode_Directory) return std::nullopt;
  const Text parent = inSupport ? QVRamDiskManager::appSupportPath() : backupDir;
  if (!parent || !identifier) return std::nullopt;
  return disk_places::backupFolder(*parent, *identifier);
}

// A simulator's folder is its base whatever the mode says.
bool DiskSettings::isKeptInBase() const {
  return type == QVRamDiskType_CoreSimulator ||
         (mountDirectory && backupMode == QVRamDiskBackupMode_Base);
}

Text DiskSettings::folderOfSaves(const Text& identifier) const {
  return isKeptInBase() ? savedBase() : backupFolder(identifier);
}

bool DiskSettings::ownsMountDirectory() const {
  return type == QVRamDiskType_Default &&
         (!mountDirectory || backupMode != QVRamDiskBackupMode_Base);
}
