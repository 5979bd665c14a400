#include "platform/linux/LinuxDirectories.h"

#include <pwd.h>
#include <unistd.h>

#include <array>
#include <string_view>

namespace platform {
namespace {

std::optional<std::string> absolute(std::optional<std::string> path) {
  if (!path || !path->starts_with('/')) return std::nullopt;
  while (path->size() > 1 && path->ends_with('/')) path->pop_back();
  return path;
}

struct Account {
  std::string name;
  std::optional<std::string> home;
};

// A user that the database does not know goes by number.
Account account() {
  std::array<char, 16384> buffer{};
  passwd record{};
  passwd* found = nullptr;
  const uid_t user = getuid();
  if (getpwuid_r(user, &record, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
    return {std::to_string(user), std::nullopt};
  return {found->pw_name, absolute(found->pw_dir)};
}

std::vector<std::string> absoluteParts(std::string_view list) {
  std::vector<std::string> parts;
  while (!list.empty()) {
    const auto part = list.substr(0, list.find(':'));
    list.remove_prefix(std::min(list.size(), part.size() + 1));
    if (auto path = absolute(std::string(part))) parts.push_back(std::move(*path));
  }
  return parts;
}

// A session that was not started by a login shell may miss the folders of the package systems.
std::vector<std::string> applicationDirectories(const Environment& environment,
                                                const std::string& data) {
  auto shares = absoluteParts(environment("XDG_DATA_DIRS").value_or("/usr/local/share:/usr/share"));
  if (!data.empty()) {
    shares.insert(shares.begin(), data);
    shares.push_back(data + "/flatpak/exports/share");
  }
  shares.insert(shares.end(), {"/var/lib/flatpak/exports/share", "/var/lib/snapd/desktop"});
  for (auto& share : shares) share += "/applications";
  return shares;
}

}  // namespace

LinuxDirectories linuxDirectories(const Environment& environment) {
  const Account user = account();
  LinuxDirectories found;
  found.user = user.name;
  found.home = absolute(environment("HOME"));
  if (!found.home) found.home = user.home;
  const auto directory = [&](const char* variable, const char* usual) {
    const auto named = absolute(environment(variable));
    if (named || !found.home) return named.value_or("");
    return (*found.home == "/" ? "" : *found.home) + usual;
  };
  found.data = directory("XDG_DATA_HOME", "/.local/share");
  found.configuration = directory("XDG_CONFIG_HOME", "/.config");
  found.caches = directory("XDG_CACHE_HOME", "/.cache");
  found.applications = applicationDirectories(environment, found.data);
  found.executables = absoluteParts(environment("PATH").value_or("/usr/local/bin:/usr/bin:/bin"));
  found.systemConfigurations = absoluteParts(environment("XDG_CONFIG_DIRS").value_or("/etc/xdg"));
  return found;
}

}  // namespace platform
