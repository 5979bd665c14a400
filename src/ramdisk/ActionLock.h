#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/QVError.h"
#include "platform/Result.h"

// Keeps two programs of the user from acting on one disk at the same time. Held until the last
// object of a disk goes, or the program ends however it may: within one program the records see to
// it themselves. Any thread.
class ActionLock {
 public:
  // `error` is set when somebody else holds it. A lock that cannot be had for another reason is
  // logged and done without.
  static ActionLock take(const std::optional<std::string>& identifier, QVErrorPtr& error);

  // The same for who can wait and must be alone: nullopt when anybody holds it, be it this program
  // for another record of the disk, which is no error here.
  static std::optional<ActionLock> takeIfFree(const std::optional<std::string>& identifier);

  // The locks of all other disks that an action ever ran on. nullopt when one of them cannot be
  // had, for any reason. One that such an action takes first after this began may be missing.
  static std::optional<std::vector<ActionLock>> takeAllOthers(
      const std::optional<std::string>& identifier);

  // Not so for a lock that was done without.
  bool isHeld() const { return held_ != nullptr; }

  // Whether another program holds it. Leaves nothing behind.
  static bool isTaken(const std::optional<std::string>& identifier);

 private:
  // `reason` is set when somebody else holds it, or, where it is not shared, anybody.
  static ActionLock takeOrTell(const std::optional<std::string>& identifier, bool shared,
                               std::optional<platform::SystemError>& reason);

  explicit ActionLock(std::shared_ptr<void> held) : held_(std::move(held)) {}

  std::shared_ptr<void> held_;
};
