#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/posix/Environment.h"

namespace platform {

// The user's directories by freedesktop.org's base directories. Absolute and without a
// trailing slash; what the environment names by a relative path counts as not named.
struct LinuxDirectories {
  std::string user;
  std::optional<std::string> home;
  // Empty where neither the environment nor a home says.
  std::string data;
  std::string configuration;
  std::string caches;
  std::vector<std::string> applications;          // of desktop entries, the user's own first
  std::vector<std::string> executables;           // of PATH
  std::vector<std::string> systemConfigurations;  // for all users, the best first
};

// The user database stands in for a home that the environment does not name.
LinuxDirectories linuxDirectories(const Environment& environment);

}  // namespace platform
