#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/QVError.h"

// Keeps two programs of the user from acting on one disk at the same time. Held until the last
// object of a disk goes, or the program ends however it may: within one program the records see to
// it themselves. Any thread.
class ActionLock {
 public:
  // `error` is set when somebody else holds it. A lock that cannot be had for another reason is
  // logged and done without.
  static ActionLock take(const std::optional<std::string>& identifier, QVErrorPtr& error);

  // Whether another program holds it. Leaves nothing behind.
  static bool isTaken(const std::optional<std::string>& identifier);

 private:
  explicit ActionLock(std::shared_ptr<void> held) : held_(std::move(held)) {}

  std::shared_ptr<void> held_;
};
