#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "core/Identifiers.h"
#include "platform/Services.h"

namespace platform {

struct LinuxOptions {
  std::string identifier = kHelperBundleId;  // of the running program
  std::int64_t standardErrorSeverity = 3;    // what is logged from here upwards is also shown
  std::map<std::string, std::string> information{};  // the program's information dictionary

  // Where the disk tools and the strings tables lie; nullopt for their places beside the
  // executable,
  // ../libexec/tarnvale and ../share/tarnvale.
  std::optional<std::string> libexecDirectory{};
  std::optional<std::string> resourcesDirectory{};
};

// Every service, for a program without a desktop. Called on the main thread, whose loop it makes;
// the environment is read here and not again.
Services linuxServices(const LinuxOptions& options);

}  // namespace platform
