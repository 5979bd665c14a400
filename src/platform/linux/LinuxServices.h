#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "core/Identifiers.h"
#include "platform/Services.h"

namespace platform {

struct LinuxOptions {
  std::string identifier = kHelperBundleId;  // of the running program
  std::int64_t standardErrorSeverity = 3;    // what is logged from here upwards is also shown
  std::map<std::string, std::string> information{};  // the program's information dictionary

  // Whether the desktop is asked over the session bus how it looks. What draws nothing need not
  // know.
  bool asksForAppearance = true;

  // Where the disk tools and the strings tables lie; nullopt for their places beside the
  // executable,
  // ../libexec/tarnvale and ../share/tarnvale.
  std::optional<std::string> libexecDirectory{};
  std::optional<std::string> resourcesDirectory{};

  // The main thread's loop, which other services post to; null for one without a desktop.
  std::shared_ptr<MainLoop> mainLoop{};
};

// Every service, for a program without a desktop. Called on the main thread, whose loop it makes;
// the environment is read here and not again.
Services linuxServices(const LinuxOptions& options);

}  // namespace platform
