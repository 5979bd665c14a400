#pragma once

#include "platform/LoginItems.h"

namespace platform {

// Stands where a system's list of programs started at login is not reached yet: every call fails
// with an error that says so.
class NoLoginItems : public LoginItems {
 public:
  Result<std::vector<LoginItem>> snapshot() const override;
  Outcome insertHiddenAtEnd(const std::string& path) override;
  Outcome remove(const LoginItem& item) override;
};

}  // namespace platform
