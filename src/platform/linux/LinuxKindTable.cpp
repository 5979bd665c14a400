#include "platform/linux/LinuxKindTable.h"

#include "core/QVRamDiskTypes.h"
#include "platform/linux/ApplicationNames.h"

namespace platform {
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

}  // namespace platform
