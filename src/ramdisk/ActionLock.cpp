#include "ramdisk/ActionLock.h"

#include <cerrno>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "system/DiskPlaces.h"

namespace {

using platform::Result;
using platform::services;

Result<std::shared_ptr<void>> lockedFile(const std::string& support,
                                         const std::string& identifier) {
  const auto made = services().files->createDirectories(disk_places::lockFolder(support));
  if (!made) return made.error();
  return services().files->lock(disk_places::lockFile(support, identifier));
}

}  // namespace

// Fails only while somebody else holds it.
Result<ActionLock> ActionLock::tryTo(const Text& identifier) {
  const auto support = QVRamDiskManager::appSupportPath();
  if (!support || !identifier) return ActionLock(nullptr);
  const auto lock = lockedFile(*support, *identifier);
  if (lock) return ActionLock(*lock);
  if (lock.error().code == EWOULDBLOCK) return lock.error();
  QVLogWarning("QVRamDisk", "acting without a lock: {}", QVDescription(lock.error()));
  return ActionLock(nullptr);
}

std::optional<ActionLock> ActionLock::takeIfFree(const Text& identifier) {
  return tryTo(identifier).value();
}

Result<ActionLock, QVErrorPtr> ActionLock::take(const Text& identifier) {
  auto lock = tryTo(identifier);
  if (lock) return *lock;
  return QVError::errorWithMessage(QVLocalized("Another program is working on this RamDisk"),
                                   "lock", lock.error(), QVErrorCode::Locked);
}

bool ActionLock::isTaken(const Text& identifier) {
  const auto support = QVRamDiskManager::appSupportPath();
  if (!support || !identifier) return false;
  if (!services().files->exists(disk_places::lockFile(*support, *identifier))) return false;
  const auto lock = lockedFile(*support, *identifier);
  return !lock && lock.error().code == EWOULDBLOCK;
}

std::optional<std::vector<ActionLock>> ActionLock::takeAllOthers(const Text& identifier) {
  const auto support = QVRamDiskManager::appSupportPath();
  if (!support) return std::nullopt;
  const auto names = services().files->names(disk_places::lockFolder(*support));
  if (!names) return std::nullopt;
  std::vector<ActionLock> all;
  for (const auto& name : *names) {
    if (name == identifier) continue;
    const auto lock = lockedFile(*support, name);
    if (!lock) return std::nullopt;
    all.push_back(ActionLock(*lock));
  }
  return all;
}
