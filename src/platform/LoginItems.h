#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/Result.h"

namespace platform {

// One entry of the session's list of programs started at login.
struct LoginItem {
  std::string displayName;
  std::string reference;            // the port's own handle for remove()
  std::optional<std::string> path;  // the program it starts; nullopt when it cannot be resolved
  bool stale = false;               // it resolves to a program that does not exist
};

// Main thread only.
class LoginItems {
 public:
  virtual ~LoginItems() = default;

  virtual Result<std::vector<LoginItem>> snapshot() const = 0;

  // Appends an entry for `path`, kept out of the user's sight where the session can hide it.
  virtual Outcome insertHiddenAtEnd(const std::string& path) = 0;
  virtual Outcome remove(const LoginItem& item) = 0;
};

}  // namespace platform
