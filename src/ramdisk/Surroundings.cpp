#include "ramdisk/Surroundings.h"

#include <limits>

#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/RegistryFile.h"
#include "ramdisk/Rescue.h"
#include "system/DiskPlaces.h"
#include "system/RealPath.h"

namespace {

using extensions::deletingLastPathComponent;
using extensions::lastPathComponent;
using platform::services;
using Disks = std::vector<QVRamDiskPtr>;
using Text = std::optional<std::string>;

bool isApart(const std::string& one, const std::string& other) {
  return !liesWithin(one, other) && !liesWithin(other, one);
}

// --- Own folders

// Nothing of a disk lies at one of these or above it.
std::vector<std::string> foldersToStay() {
  const auto& places = services().places;
  std::vector<std::string> folders = {
      places->usersDirectory(), places->volumesDirectory(), places->preferencesDirectory(),
      deletingLastPathComponent(places->tool(platform::Tool::Purger)),
      deletingLastPathComponent(services().bundle->executablePath())};
  if (const auto home = places->home()) folders.push_back(*home);
  std::erase_if(folders, [](const auto& folder) { return !folder.starts_with('/'); });
  return folders;
}

Checked checkOwnFolders(const std::string& place) {
  for (const auto& folder : foldersToStay())
    if (liesWithin(realPath(folder), place))
      return Hindrance{Trouble::PlaceOverOwn, {.path = folder}};
  const Text support = QVRamDiskManager::appSupportPath();
  if (support && !isApart(realPath(*support), place))
    return Hindrance{Trouble::PlaceOverOwn, {.path = *support}};
  return {};
}

// --- Other disks

Hindrance besideOther(const QVRamDisk& other, const std::string& path) {
  return {Trouble::PlaceOfOther, {.path = path, .text = other.name().value_or("")}};
}

Checked checkAgainst(const QVRamDisk& other, const std::string& place) {
  const std::string theirs = realPath(other.mountPath());
  if (theirs == place)
    return Hindrance{Trouble::SharedPlace, {.subject = other.name().value_or(""), .path = place}};
  if (!isApart(theirs, place)) return besideOther(other, theirs);
  const Text backup = other.backupDirPath();
  if (backup && !isApart(realPath(*backup), place)) return besideOther(other, *backup);
  return {};
}

// What lies aside of a disk, in this list or not, is no place.
Checked checkSetAside(const std::string& place) {
  for (std::string path = place; path.size() > 1; path = deletingLastPathComponent(path))
    if (disk_places::isSavedBase(path))
      return Hindrance{Trouble::PlaceOfOther, {.path = path, .text = lastPathComponent(path)}};
  return {};
}

bool isSame(const QVRamDisk& one, const QVRamDisk& other) {
  return &one == &other || one.identifier() == other.identifier();
}

// --- Mounts

// As texts: the table has real paths, and a mount whose server is gone would hold up who looks at
// it.
bool isBelow(const std::string& path, const std::string& mountPoint) {
  return path == mountPoint || path.starts_with(mountPoint == "/" ? mountPoint : mountPoint + "/");
}

std::vector<platform::Mount> allMounts() {
  return services()
      .volumes->mounts(std::numeric_limits<std::size_t>::max())
      .value()
      .value_or(std::vector<platform::Mount>());
}

bool isOurs(const platform::Mount& mount) {
  QVRamDiskDevice::Infos infos;
  return services().places->isVolumeType(mount.type) &&
         QVRamDiskDevice::getExtentedRamDiskInfos(infos, mount.mountedOn);
}

Checked checkNothingMounted(const QVRamDisk& disk, const std::string& place) {
  for (const auto& mount : allMounts()) {
    const bool isOwn = mount.mountedOn == place && isOurs(mount) &&
                       QVRamDiskDevice::isVolumeOf(disk.identifier(), mount.mountedOn);
    if (!isOwn && isBelow(mount.mountedOn, place))
      return Hindrance{Trouble::PlaceOverMount, {.path = mount.mountedOn}};
  }
  return {};
}

// The volume of ours that holds the path, in the list or not.
Text volumeHolding(const std::string& path) {
  const platform::Mount* innermost = nullptr;
  const auto mounts = allMounts();
  for (const auto& mount : mounts)
    if (isBelow(path, mount.mountedOn) &&
        (!innermost || mount.mountedOn.size() > innermost->mountedOn.size()))
      innermost = &mount;
  return innermost && isOurs(*innermost) ? Text(innermost->mountedOn) : std::nullopt;
}

bool holdsAnything(const std::string& folder) {
  return services().files->kind(folder) == platform::FileKind::Directory && holdsUserFiles(folder);
}

}  // namespace

Checked checkPlaceAmong(const QVRamDisk& disk, const Disks& all) {
  const std::string place = realPath(disk.mountPath());
  if (auto kept = checkOwnFolders(place); !kept) return kept;
  for (const auto& other : all)
    if (!isSame(*other, disk))
      if (auto apart = checkAgainst(*other, place); !apart) return apart;
  if (auto own = checkSetAside(place); !own) return own;
  if (auto free = checkNothingMounted(disk, place); !free) return free;
  const std::string above = deletingLastPathComponent(place);
  if (const Text volume = volumeHolding(above))
    return Hindrance{Trouble::PlaceOfOther, {.path = *volume, .text = lastPathComponent(*volume)}};
  return {};
}

Checked checkBackupAmong(const QVRamDisk& disk, const Disks& all) {
  const Text folder =
      disk.backupMode() == QVRamDiskBackupMode_Directory ? disk.backupDir() : Text();
  if (!folder) return {};
  const std::string real = realPath(*folder);
  if (liesWithin(real, realPath(disk.mountPath())))
    return Hindrance{Trouble::BackupDirectoryOnDisk, {.path = *folder}};
  const auto onOther = [&](const std::string& name) {
    return Hindrance{Trouble::BackupDirectoryOnOther, {.path = *folder, .text = name}};
  };
  for (const auto& other : all)
    if (!isSame(*other, disk) && liesWithin(real, realPath(other->mountPath())))
      return onOther(other->name().value_or(""));
  const Text volume = volumeHolding(real);
  return volume ? Checked(onOther(lastPathComponent(*volume))) : Checked();
}

Checked checkNothingReplaced(const QVRamDisk& disk) {
  const auto known = disk.settings();
  if (!known.doNotCalculateBaseSize || !known.isKeptInBase()) return {};
  for (const auto& folder : {known.mountPath(), known.savedBase().value_or("")})
    if (holdsAnything(folder)) return Hindrance{Trouble::ContentsReplaced, {.path = folder}};
  return {};
}

Checked checkNothingHidden(const QVRamDisk& disk) {
  const auto known = disk.settings();
  const std::string place = known.mountPath();
  if (known.isKeptInBase() || !holdsAnything(place) ||
      QVRamDiskDevice::hasMountedVolumeAtPath(place) == 1)
    return {};
  return Hindrance{Trouble::ContentsHidden, {.path = place}};
}

Checked checkCreationOf(const QVRamDisk& disk) {
  const auto known = disk.settings();
  if (auto can =
          QVRamDiskManager::checkCreation(known.name, known.size, known.type, known.mountDirectory);
      !can)
    return can;
  if (auto comes = checkNothingReplaced(disk); !comes) return comes;
  const Text file = RegistryFile::defaultPath();
  const auto list = file ? RegistryFile(*file).read() : std::nullopt;
  const Disks all = list ? list->ramDisks : Disks();
  if (auto placed = checkPlaceAmong(disk, all); !placed) return placed;
  return checkBackupAmong(disk, all);
}
