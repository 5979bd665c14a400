#pragma once
// Who acts on a disk holds its lock, a locked file in the program's folder, so that no two actions
// work on one disk at the same time, be they of two programs or of two records within one. It goes
// with the program, however that ends.
//
// What changes a disk takes the lock as an argument: its signature says that somebody holds it, and
// nobody below asks for it a second time, which would be refused. Copies share one lock; it is
// given back when the last of them goes, so that an action on a thread of its own keeps what its
// caller lets go of, and a caller keeps it until the action's outcome is saved.
//
// The file says who holds it, since when and at which action, so that who waited in vain can name
// it to the user. A lock is waited for all the same: one that was asked about is held for an
// instant, and a program that is killed while it starts another leaves the lock to that until it
// runs.
//
// Where the program's folder cannot be had or its file system knows no locks, an action goes on
// without one: not to save because of that would be worse.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/QVError.h"
#include "core/QVRamDiskTypes.h"
#include "platform/Files.h"
#include "platform/Result.h"

// Any thread.
class ActionLock {
 public:
  using Text = std::optional<std::string>;
  static constexpr std::chrono::milliseconds kPatience{1500};

  // nullopt when anybody holds it. A lock that cannot be had for another reason is logged and done
  // without.
  static std::optional<ActionLock> takeIfFree(const Text& identifier);
  // The same for who tells the user: waited for a moment, then an error of code Locked that names
  // who holds it. Blocks.
  static platform::Result<ActionLock, QVErrorPtr> take(
      const Text& identifier, std::chrono::milliseconds patience = kPatience);

  // Who holds it, in words for the user.
  static std::string holderOf(const Text& identifier);

  // The locks of all other disks that an action ever ran on. nullopt when one of them cannot be
  // had, for any reason. One that such an action takes first after this began may be missing.
  static std::optional<std::vector<ActionLock>> takeAllOthers(const Text& identifier);

  // Whether anybody holds it. Leaves nothing behind.
  static bool isTaken(const Text& identifier);

  // Says in the file what is done from now on.
  void tell(QVRamDiskAction action, QVRamDiskActionInfo info) const;

  // Not so for a lock that was done without.
  bool isHeld() const { return held_ != nullptr; }

 private:
  using Held = std::shared_ptr<platform::FileLock>;

  static platform::Result<ActionLock> tryTo(const Text& identifier);
  explicit ActionLock(Held held) : held_(std::move(held)) {}

  Held held_;
};
