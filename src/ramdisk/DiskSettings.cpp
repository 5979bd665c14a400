#include "ramdisk/DiskSettings.h"

#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "system/DiskPlaces.h"
#include "system/RealPath.h"

namespace {

using Text = DiskSettings::Text;

constexpr double kBaseMargin = 1.5;

bool isNameOfEntry(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

}  // namespace

std::string DiskSettings::mountPath() const { return disk_places::mountPath(mountDirectory, name); }

// What is no name, or no whole path, is left for the checks to find.
void DiskSettings::useRealPlace() {
  if (!mountDirectory || !mountDirectory->starts_with('/') || !isNameOfEntry(name.value_or("")))
    return;
  const std::string given = mountPath();
  const std::string real = realPath(given);
  if (real == given || real == "/") return;
  givenPath = given;
  mountDirectory = extensions::deletingLastPathComponent(real);
  name = extensions::lastPathComponent(real);
}

std::string DiskSettings::shownPath() const {
  const std::string real = mountPath();
  return givenPath && realPath(*givenPath) == real ? *givenPath : real;
}

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

bool DiskSettings::hasRoomFor(std::uint64_t bytes) const {
  return static_cast<double>(bytes) * kBaseMargin < static_cast<double>(size);
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
