#pragma once

#include <memory>
#include <optional>
#include <string>

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

  // Whether another program holds it. Leaves nothing behind.
  static bool isTaken(const std::optional<std::string>& identifier);

 private:
  // `reason` is set when somebody else holds it, or, where it is not shared, anybody.
  static ActionLock takeOrTell(const std::optional<std::string>& identifier, bool shared,
                               std::optional<platform::SystemError>& reason);

  explicit ActionLock(std::shared_ptr<void> held) : held_(std::move(held)) {}

  std::shared_ptr<void> held_;
};
