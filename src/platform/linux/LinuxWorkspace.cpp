#include "platform/linux/LinuxWorkspace.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "extensions/PathExtension.h"
#include "extensions/Text.h"
#include "platform/linux/ApplicationNames.h"
#include "platform/linux/DetachedProgram.h"
#include "platform/linux/FileManager.h"
#include "platform/posix/PosixFiles.h"

namespace platform {
namespace {

// A file manager that has to be started first takes its time on a slow disk.
constexpr std::chrono::seconds kFileManagerLimit(10);

// What opens anything, the best first. Each knows the desktop that it runs on.
std::vector<std::string> openingCommand(const std::vector<std::string>& executables) {
  if (const auto opener = findProgram("xdg-open", executables)) return {*opener};
  if (const auto opener = findProgram("gio", executables)) return {*opener, "open"};
  return {};
}

bool isUrl(const std::string& text) {
  const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  const auto rest = std::find_if_not(text.begin(), text.end(), [&](char c) {
    return isLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
  });
  return rest != text.begin() && isLetter(text.front()) && rest != text.end() && *rest == ':';
}

std::optional<struct statx> factsOf(const std::string& path) {
  struct statx facts {};
  if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_TYPE, &facts) != 0)
    return std::nullopt;
  return facts;
}

}  // namespace

bool LinuxWorkspace::open(const std::string& path) {
  if (!path.starts_with('/') || PosixFiles().kind(path) == FileKind::Missing) return false;
  return isApplication(path) ? static_cast<bool>(launch(path, {})) : handOver(path);
}

// A file is handed over as a path: not every opener undoes the numbers in a URL.
bool LinuxWorkspace::openURL(const std::string& url) {
  if (const auto path = extensions::pathOfFileUrl(url)) return open(*path);
  return isUrl(url) && handOver(url);
}

bool LinuxWorkspace::handOver(const std::string& target) const {
  auto command = openingCommand(facts_.applications.executables);
  if (command.empty()) return false;
  command.push_back(target);
  return static_cast<bool>(startDetached(command, facts_.home));
}

// Openers show a program as a file. Only those that were asked for as applications are started:
// what lies on a disk of the user's is never run.
bool LinuxWorkspace::isApplication(const std::string& path) const {
  const auto& names = namedApplications();
  return std::any_of(names.begin(), names.end(), [&](const std::string& identifier) {
    const auto application = installedApplication(identifier, facts_.applications);
    return application && application->executable == path;
  });
}

Outcome LinuxWorkspace::launch(const std::string& applicationPath,
                               const std::vector<std::string>& arguments) {
  std::vector<std::string> command = {applicationPath};
  command.insert(command.end(), arguments.begin(), arguments.end());
  return startDetached(command, facts_.home);
}

Outcome LinuxWorkspace::showInformation(const std::string& path) {
  return showItemProperties(facts_.sessionBus, path, kFileManagerLimit);
}

// Nothing is hidden of a name here, and names of folders are not translated.
std::string LinuxWorkspace::displayName(const std::string& path) const {
  const auto end = path.find_last_not_of('/');
  if (end == std::string::npos) return path.empty() ? "" : "/";
  const std::string whole = path.substr(0, end + 1);
  std::string name = whole.substr(whole.rfind('/') + 1);
  if (extensions::isValidUtf8(name)) return name;
  return extensions::utf8FromUtf16(extensions::utf16FromUtf8(name));
}

bool LinuxWorkspace::isDirectory(const std::string& path) const {
  const auto facts = factsOf(path);
  return facts && S_ISDIR(facts->stx_mode);
}

bool LinuxWorkspace::isVolume(const std::string& path) const {
  const auto facts = factsOf(path);
  return facts && (facts->stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

// No desktop here has labels of its own that others know. These are what people expect to choose
// from; nothing gives a file one yet. The tags that some file managers keep in the attribute
// "user.xdg.tags" are copied and saved with the files like every attribute.
std::vector<FileLabel> LinuxWorkspace::fileLabels() const {
  return {{"None", 0xFFFFFF}, {"Gray", 0xA5A5A8},   {"Green", 0x9BD056}, {"Purple", 0xC08BE0},
          {"Blue", 0x5DA9F6}, {"Yellow", 0xF6D351}, {"Red", 0xF96A5F},   {"Orange", 0xF8A94B}};
}

}  // namespace platform
