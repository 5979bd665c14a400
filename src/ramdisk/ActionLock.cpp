#include "ramdisk/ActionLock.h"

#include <cerrno>
#include <map>
#include <mutex>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"

namespace {

using extensions::appendingPathComponent;
using platform::services;

using Lock = platform::Result<std::shared_ptr<void>>;

Lock lockFor(const std::string& folder, const std::string& identifier) {
  if (const auto done = services().files->createDirectories(folder); !done) return done.error();
  return services().files->lock(appendingPathComponent(folder, identifier));
}

// The locks that this program holds, process-wide, by their files' paths.
struct HeldLocks {
  std::mutex mutex;
  std::map<std::string, std::weak_ptr<void>> locks;
};

HeldLocks& heldLocks() {
  static HeldLocks held;
  return held;
}

Lock takenHere(const std::string& folder, const std::string& identifier, bool shared) {
  auto& held = heldLocks();
  const std::lock_guard guard(held.mutex);
  auto& known = held.locks[appendingPathComponent(folder, identifier)];
  if (auto lock = known.lock()) {
    if (shared) return lock;
    return platform::SystemError{"POSIX", EWOULDBLOCK, identifier + ": acted on already"};
  }
  auto lock = lockFor(folder, identifier);
  if (lock) known = *lock;
  return lock;
}

std::optional<std::string> lockFolder() {
  const auto support = QVRamDiskManager::appSupportPath();
  return support ? std::optional(appendingPathComponent(*support, "Locks")) : std::nullopt;
}

}  // namespace

ActionLock ActionLock::take(const std::optional<std::string>& identifier, QVErrorPtr& error) {
  std::optional<platform::SystemError> reason;
  auto lock = takeOrTell(identifier, true, reason);
  if (reason)
    error = QVError::errorWithMessage(QVLocalized("Another program is working on this RamDisk"),
                                      "lock", *reason, QVErrorCode::Locked);
  return lock;
}

std::optional<ActionLock> ActionLock::takeIfFree(const std::optional<std::string>& identifier) {
  std::optional<platform::SystemError> reason;
  auto lock = takeOrTell(identifier, false, reason);
  return reason ? std::nullopt : std::optional(std::move(lock));
}

ActionLock ActionLock::takeOrTell(const std::optional<std::string>& identifier, bool shared,
                                  std::optional<platform::SystemError>& reason) {
  const auto folder = lockFolder();
  if (!folder || !identifier) return ActionLock(nullptr);
  const auto lock = takenHere(*folder, *identifier, shared);
  if (lock) return ActionLock(*lock);
  if (lock.error().code == EWOULDBLOCK)
    reason = lock.error();
  else
    QVLogWarning("QVRamDisk", "acting without a lock: {}", QVDescription(lock.error()));
  return ActionLock(nullptr);
}

bool ActionLock::isTaken(const std::optional<std::string>& identifier) {
  const auto folder = lockFolder();
  if (!folder || !identifier) return false;
  const std::string path = appendingPathComponent(*folder, *identifier);
  if (services().files->kind(path) == platform::FileKind::Missing) return false;
  const auto lock = takenHere(*folder, *identifier, true);
  return !lock && lock.error().code == EWOULDBLOCK;
}

std::optional<std::vector<ActionLock>> ActionLock::takeAllOthers(
    const std::optional<std::string>& identifier) {
  const auto folder = lockFolder();
  const auto names = services().files->names(folder.value_or(""));
  if (!names) return std::nullopt;
  std::vector<ActionLock> all;
  for (const auto& name : *names) {
    if (name == identifier) continue;
    const auto lock = takenHere(*folder, name, false);
    if (!lock) return std::nullopt;
    all.push_back(ActionLock(*lock));
  }
  return all;
}
