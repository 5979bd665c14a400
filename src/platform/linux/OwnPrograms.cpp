#include "platform/linux/OwnPrograms.h"

#include "core/Identifiers.h"
#include "platform/posix/PosixBundle.h"

namespace platform {

std::optional<InstalledApplication> ownProgram(std::string_view bundleIdentifier) {
  std::string file;
  if (bundleIdentifier == kHelperBundleId) file = "tarnvale-helper";
  if (bundleIdentifier == kMainAppBundleId) file = "tarnvale";
  if (file.empty()) return std::nullopt;
  const std::string running = runningExecutable();
  return InstalledApplication{file, running.substr(0, running.rfind('/') + 1) + file};
}

}  // namespace platform
