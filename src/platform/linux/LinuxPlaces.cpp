#include "platform/linux/LinuxPlaces.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "core/QVRamDiskTypes.h"
#include "platform/linux/InstalledApplications.h"

namespace platform {

// --- The user's directories

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

// --- The kinds of disk

namespace {

constexpr std::uint64_t kGigabyte = 1'000'000'000;
constexpr char kShortVersion[] = "CFBundleShortVersionString";
constexpr char kBundleVersion[] = "CFBundleVersion";

// An application without a place and an identifier is never found.
KindFacts notOnThisSystem(QVRamDiskType type) {
  return {.type = type, .preset = {.checks = {checks::applicationFound()}}};
}

// A browser as it is installed in one way.
struct Installation {
  std::string identifier;
  std::string caches;  // what it takes for the user's cache directory
};

// What people choose a browser for is the same however it was installed; a package system gives
// each application a cache directory of its own. The system's own comes first.
std::vector<Installation> installations(const std::string& identifier, const std::string& flatpak,
                                        const std::string& snap, const std::string& home,
                                        const std::string& caches) {
  std::vector<Installation> all = {{identifier, caches}};
  if (home.empty()) return all;
  const auto with = [&](std::string_view end) { return std::string(identifier).append(end); };
  all.push_back({with(kFlatpakEnd), home + "/.var/app/" + flatpak + "/cache"});
  if (!snap.empty()) all.push_back({with(kSnapEnd), home + "/snap/" + snap + "/common/.cache"});
  return all;
}

// `below` is where in the caches the folder lies.
struct CacheFolder {
  std::string name;
  std::string below{};
};

void add(KindTable& table, QVRamDiskType type, const std::vector<Installation>& all,
         const PresetCheck& version, const CacheFolder& folder) {
  for (const auto& [identifier, caches] : all) {
    const std::string directory = caches + folder.below;
    table.push_back(
        {.type = type,
         .application = {.bundleIdentifier = identifier, .runningIdentifiers = {identifier}},
         .preset = {.checks = {checks::applicationFound(), version, checks::exists(directory)},
                    .name = folder.name,
                    .mountDirectory = directory,
                    .size = kGigabyte}});
  }
}

}  // namespace

// Chromium stands for its kind where the browser built from it is not installed. Both count their
// versions alike.
KindTable linuxKindTable(const std::string& home, const std::string& caches) {
  const PresetCheck chromeVersion = checks::versionAtLeast(60, kShortVersion);
  const auto ways = [&](const char* identifier, const char* flatpak, const char* snap) {
    return installations(identifier, flatpak, snap, home, caches);
  };
  KindTable table = {
      notOnThisSystem(QVRamDiskType_Safari), notOnThisSystem(QVRamDiskType_XcodeBuild),
      notOnThisSystem(QVRamDiskType_IOsSimulator), notOnThisSystem(QVRamDiskType_CoreSimulator),
      notOnThisSystem(QVRamDiskType_AppCodeCaches)};
  add(table, QVRamDiskType_Firefox, ways("org.mozilla.firefox", "org.mozilla.firefox", "firefox"),
      checks::versionAtLeast(54, kShortVersion), {"firefox", "/mozilla"});
  add(table, QVRamDiskType_Chrome, ways("com.google.Chrome", "com.google.Chrome", ""),
      chromeVersion, {"google-chrome"});
  add(table, QVRamDiskType_Chrome,
      ways("org.chromium.Chromium", "org.chromium.Chromium", "chromium"), chromeVersion,
      {"chromium"});
  add(table, QVRamDiskType_Opera, ways("com.operasoftware.Opera", "com.opera.Opera", "opera"),
      checks::versionAtLeast(51, kBundleVersion), {"opera"});
  return table;
}

// --- The service

namespace {

const char* toolName(Tool tool) {
  switch (tool) {
    case Tool::Attacher:
      return "hdiutil";
    case Tool::Formatter:
      return "newfs_hfs";
    case Tool::DiskUtility:
      return "diskutil";
    case Tool::Mounter:
      return "mount";
    case Tool::Unmounter:
      return "umount";
    case Tool::Indexer:
      return "mdutil";
    case Tool::Purger:
      return "purge";
  }
  return "";
}

std::vector<std::string> known(const std::string& directory) {
  if (directory.empty()) return {};
  return {directory};
}

}  // namespace

std::string LinuxPlaces::tool(Tool tool) const { return tools_ + "/" + toolName(tool); }

std::vector<std::string> LinuxPlaces::applicationSupportDirectories() const {
  return known(directories_.data);
}

std::vector<std::string> LinuxPlaces::cachesDirectories() const {
  return known(directories_.caches);
}

// What belongs to the system or to its package manager, whose files nobody expects to come and go.
// "/tmp", "/home" and "/root" are missing on purpose: people build there, and a build folder in
// memory is what this program is for.
std::vector<std::string> LinuxPlaces::protectedDirectories() const {
  return {"/bin", "/boot", "/dev", "/etc",  "/lib", "/lib32", "/lib64", "/libx32", "/lost+found",
          "/opt", "/proc", "/run", "/sbin", "/srv", "/sys",   "/usr",   "/var"};
}

std::vector<std::string> LinuxPlaces::libraryPrefixes() const {
  auto prefixes = known(directories_.configuration);
  if (!directories_.data.empty()) prefixes.push_back(directories_.data);
  return prefixes;
}

// ext4 stands in on kernels whose file system in memory keeps no attributes of users.
bool LinuxPlaces::isVolumeType(std::string_view type) const {
  return type == "tmpfs" || type == "ext4";
}

KindTable LinuxPlaces::kindTable() const {
  return linuxKindTable(directories_.home.value_or(""), directories_.caches);
}

}  // namespace platform
