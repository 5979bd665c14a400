#include "platform/linux/OwnPrograms.h"

#include "core/Identifiers.h"
#include "platform/posix/PosixBundle.h"

namespace platform {
namespace {

constexpr std::string_view kTools = "/libexec/tarnvale/";

std::string folderOf(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

// With a slash at its end.
std::string programsFolder() {
  std::string own = folderOf(runningExecutable());
  if (!own.ends_with(kTools)) return own;
  return own.substr(0, own.size() - kTools.size()) + "/bin/";
}

}  // namespace

std::string installedPath(std::string_view relative) {
  return besideExecutable(programsFolder() + "program", std::string(relative));
}

std::optional<InstalledApplication> ownProgram(std::string_view bundleIdentifier) {
  std::string file;
  if (bundleIdentifier == kHelperBundleId) file = "tarnvale-helper";
  if (bundleIdentifier == kMainAppBundleId) file = "tarnvale-settings";
  if (file.empty()) return std::nullopt;
  return InstalledApplication{file, programsFolder() + file};
}

std::vector<std::string> ownExecutables(std::string_view bundleIdentifier) {
  const auto program = ownProgram(bundleIdentifier);
  if (!program) return {};
  std::vector<std::string> files = {program->executable};
  if (bundleIdentifier == kHelperBundleId)
    files.push_back(installedPath("libexec/tarnvale/tarnvale-tray"));
  return files;
}

}  // namespace platform
