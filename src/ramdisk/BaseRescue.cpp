#include "ramdisk/BaseRescue.h"

#include <algorithm>

#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDiskBackup.h"

namespace {

using platform::FileKind;
using platform::services;

constexpr std::string_view kClass = "QVRamDisk";

bool exists(const std::string& path) { return services().files->kind(path) != FileKind::Missing; }

std::string freeRescueName(const std::string& path) {
  std::string candidate = path + " rescued";
  for (int number = 2; exists(candidate); ++number)
    candidate = path + " rescued " + std::to_string(number);
  return candidate;
}

void moveToRescueName(const std::string& path) {
  const std::string rescued = freeRescueName(path);
  if (const auto error = services().files->move(path, rescued)) {
    QVLogError(kClass, "{} holds files and could not be moved to {}: {}", path, rescued,
               QVDescription(*error));
    return;
  }
  QVLogWarning(kClass, "{} holds files of yours; they are kept as {}", path, rescued);
}

void putBack(const std::string& base, const std::string& savedBase) {
  if (exists(base))
    if (const auto error = services().files->remove(base)) {
      QVLogError(kClass, "removeItemAtPath==NO mountPoint:{} error:{}", base,
                 QVDescription(*error));
      return;
    }
  if (const auto error = services().files->move(savedBase, base)) {
    QVLogError(kClass, "moveItemAtPath==NO mountPoint:{} error:{}", base, QVDescription(*error));
    return;
  }
  QVLogWarning(kClass, "{} was still set aside as {} and is back", base, savedBase);
}

}  // namespace

bool holdsUserFiles(const std::string& directory) {
  const auto names = services().files->names(directory);
  if (!names) return true;
  return std::any_of(names->begin(), names->end(), [](const std::string& name) {
    return !QVRamDiskBackup::leavesAlone(name) && name != ".DS_Store";
  });
}

void setAsideIfUsed(const std::string& directory) {
  if (QVRamDiskDevice::hasMountedVolumeAtPath(directory) != 0) return;
  if (holdsUserFiles(directory)) moveToRescueName(directory);
}

void rescueSavedBase(const std::string& base, const std::string& savedBase) {
  if (services().files->kind(savedBase) != FileKind::Directory || !holdsUserFiles(savedBase))
    return;
  if (!exists(base)) return putBack(base, savedBase);
  if (QVRamDiskDevice::hasMountedVolumeAtPath(base) != 0) return;
  if (holdsUserFiles(base)) return moveToRescueName(savedBase);
  putBack(base, savedBase);
}
