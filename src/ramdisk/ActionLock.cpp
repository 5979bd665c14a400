#include "ramdisk/ActionLock.h"

#include <fmt/chrono.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <sstream>

#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "system/DiskPlaces.h"

// What the locked file says, a line each: the program's name, its process number, since when it
// has the lock, in seconds of 1970, and the codes of action and stage, 0 where none has begun.

namespace {

using platform::FileLock;
using platform::Result;
using platform::services;
using namespace std::chrono_literals;

constexpr auto kLockPass = 20ms;  // between two tries

Result<std::shared_ptr<FileLock>> lockedFile(const std::string& support,
                                             const std::string& identifier) {
  const auto made = services().files->createDirectories(disk_places::lockFolder(support));
  if (!made) return made.error();
  return services().files->lock(disk_places::lockFile(support, identifier));
}

struct Holder {
  std::string name;
  pid_t process = 0;
  std::time_t since = 0;
  std::int64_t action = QVRamDiskActionNone;
  std::int64_t info = QVRamDiskActionInfo_none;
};

std::optional<Holder> parsedHolder(const std::string& text) {
  std::istringstream lines(text);
  Holder holder;
  if (std::getline(lines, holder.name) &&
      lines >> holder.process >> holder.since >> holder.action >> holder.info)
    return holder;
  return std::nullopt;
}

std::string clockTime(std::time_t moment) {
  constexpr std::time_t kHalfDay = 43'200;  // seconds
  const bool isRecent = std::time(nullptr) - moment < kHalfDay;
  return isRecent ? fmt::format("{:%H:%M:%S}", fmt::localtime(moment))
                  : fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(moment));
}

// A lock outlives its program for as long as one that was just being started then has a copy.
bool hasEnded(pid_t process) { return kill(process, 0) != 0 && errno == ESRCH; }

std::string described(const Holder& holder) {
  const std::string process = std::to_string(holder.process);
  const std::string since = clockTime(holder.since);
  if (hasEnded(holder.process))
    return QVLocalizedFormat("a program that %@ (process %@, which has ended) started, since %@",
                             {holder.name, process, since});
  const auto action = QVRamDiskManager::displayStringFromAction(
      static_cast<QVRamDiskAction>(holder.action), static_cast<QVRamDiskActionInfo>(holder.info));
  if (!action || holder.action == QVRamDiskActionNone)
    return QVLocalizedFormat("%@, process %@, since %@", {holder.name, process, since});
  return QVLocalizedFormat("%@, process %@, since %@: %@", {holder.name, process, since, *action});
}

}  // namespace

// Fails only while somebody else holds it.
Result<ActionLock> ActionLock::tryTo(const Text& identifier) {
  const auto support = QVRamDiskManager::appSupportPath();
  if (!support || !identifier) return ActionLock(nullptr);
  const auto lock = lockedFile(*support, *identifier);
  if (lock) {
    const ActionLock held(*lock);
    held.tell(QVRamDiskActionNone, QVRamDiskActionInfo_none);
    return held;
  }
  if (lock.error().code == EWOULDBLOCK) return lock.error();
  QVLogWarning("QVRamDisk", "acting without a lock: {}", QVDescription(lock.error()));
  return ActionLock(nullptr);
}

void ActionLock::tell(QVRamDiskAction action, QVRamDiskActionInfo info) const {
  if (!held_) return;
  held_->note(fmt::format("{}\n{}\n{}\n{}\n{}\n",
                          services().bundle->information("CFBundleName").value_or("?"), getpid(),
                          std::time(nullptr), std::int64_t{action}, std::int64_t{info}));
}

std::optional<ActionLock> ActionLock::takeIfFree(const Text& identifier) {
  return tryTo(identifier).value();
}

Result<ActionLock, QVErrorPtr> ActionLock::take(const Text& identifier,
                                                std::chrono::milliseconds patience) {
  auto lock = tryTo(identifier);
  for (auto waited = kLockPass * 0; !lock && waited < patience; waited += kLockPass) {
    services().mainLoop->sleep(kLockPass);
    lock = tryTo(identifier);
  }
  if (lock) return *lock;
  return QVError::errorWithMessage(QVLocalized("Another program is working on this RamDisk"),
                                   "lock", holderOf(identifier), QVErrorCode::Locked);
}

std::string ActionLock::holderOf(const Text& identifier) {
  const auto support = QVRamDiskManager::appSupportPath();
  const auto text =
      support && identifier
          ? services().files->contents(disk_places::lockFile(*support, *identifier)).value()
          : std::nullopt;
  const auto holder = text ? parsedHolder(*text) : std::nullopt;
  return holder ? described(*holder) : QVLocalized("a program that does not give its name");
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
