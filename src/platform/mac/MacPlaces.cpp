#include "platform/mac/MacPlaces.h"

#include "core/QVRamDiskTypes.h"

namespace platform {

std::vector<std::string> macProtectedDirectories() {
  return {"/.Trashes", "/Applications", "/bin", "/cores",   "/dev",     "/etc",
          "/home",     "/Library",      "/net", "/Network", "/private", "/sbin",
          "/System",   "/tmp",          "/usr", "/var"};
}

std::vector<std::string> macLibraryPrefixes(const std::string& home) { return {home + "/Library"}; }

std::vector<std::string> macAllowedLibraryPrefixes(const std::string& home) {
  return {home + "/Library/Developer"};
}
namespace {

constexpr std::uint64_t kGigabyte = 1'000'000'000;
constexpr char kShortVersion[] = "CFBundleShortVersionString";
constexpr char kBundleVersion[] = "CFBundleVersion";
constexpr char kXcode[] = "com.apple.dt.Xcode";
constexpr char kSimulator[] = "com.apple.iphonesimulator";

ApplicationFacts browser(const std::string& bundleName, const std::string& identifier) {
  return {.usualPlace = "/Applications/" + bundleName,
          .bundleIdentifier = identifier,
          .runningIdentifiers = {identifier}};
}

// The simulators come with Xcode but run as an application of their own.
ApplicationFacts xcode(std::vector<std::string> runningIdentifiers) {
  return {.usualPlace = "/Applications/Xcode.app",
          .bundleIdentifier = kXcode,
          .runningIdentifiers = std::move(runningIdentifiers)};
}

// From 10.14 on the system keeps other programs away from Safari's caches.
KindFacts safari(const std::string& caches) {
  return {.type = QVRamDiskType_Safari,
          .application = browser("Safari.app", "com.apple.Safari"),
          .preset = {.checks = {checks::applicationFound(), checks::exists(caches),
                                checks::writable(caches), checks::systemBelow("10.14")},
                     .name = "com.apple.Safari",
                     .mountDirectory = caches,
                     .size = kGigabyte}};
}

KindFacts xcodeBuild(const std::string& directory) {
  return {.type = QVRamDiskType_XcodeBuild,
          .application = xcode({kXcode, kSimulator}),
          .preset = {.checks = {checks::applicationFound(), checks::exists(directory),
                                checks::writable(directory)},
                     .name = "DerivedData",
                     .mountDirectory = directory,
                     .size = 4 * kGigabyte}};
}

// The layout of Xcode 5 alone.
KindFacts iosSimulator(const std::string& support) {
  return {.type = QVRamDiskType_IOsSimulator,
          .application = xcode({kSimulator}),
          .preset = {
              .checks = {checks::applicationFound(),
                         checks::versionBeginsWith({"5."}, kShortVersion), checks::exists(support)},
              .name = "iPhone Simulator",
              .mountDirectory = support,
              .size = 4 * kGigabyte}};
}

Preset coreSimulatorPreset(const std::string& name, const std::string& directory,
                           const std::string& needed, std::uint64_t size) {
  return {.checks = {checks::applicationFound(),
                     checks::versionBeginsWithNone({"3.", "4.", "5."}, kShortVersion),
                     checks::exists(needed)},
          .name = name,
          .mountDirectory = directory,
          .size = size};
}

KindFacts coreSimulator(const std::string& developer) {
  const std::string devices = developer + "/CoreSimulator/Devices";
  return {.type = QVRamDiskType_CoreSimulator,
          .application = xcode({kSimulator}),
          .preset = coreSimulatorPreset("CoreSimulator", developer, developer, 4 * kGigabyte),
          .devicePreset = coreSimulatorPreset("%@", devices, devices + "/%@", kGigabyte)};
}

// The cache folder carries the version in its name, such as "AppCode2019.3".
KindFacts appCode(const std::string& caches) {
  return {.type = QVRamDiskType_AppCodeCaches,
          .application = {.usualPlace = "/Applications/AppCode.app",
                          .runningIdentifiers = {"com.jetbrains.AppCode"}},
          .preset = {
              .checks = {checks::applicationFound(), checks::folderFound(), checks::exists(caches)},
              .mountDirectory = caches,
              .size = 4 * kGigabyte,
              .namePrefix = "AppCode"}};
}

KindFacts browserCaches(QVRamDiskType type, const ApplicationFacts& application,
                        const PresetCheck& version, const std::string& name,
                        const std::string& directory) {
  return {.type = type,
          .application = application,
          .preset = {.checks = {checks::applicationFound(), version, checks::exists(directory)},
                     .name = name,
                     .mountDirectory = directory,
                     .size = kGigabyte}};
}

}  // namespace

KindTable macKindTable(const std::string& home) {
  const std::string library = home + "/Library";
  const std::string caches = library + "/Caches";
  return {
      safari(caches),
      xcodeBuild(library + "/Developer/Xcode"),
      iosSimulator(library + "/Application Support"),
      coreSimulator(library + "/Developer"),
      appCode(caches),
      browserCaches(QVRamDiskType_Firefox, browser("Firefox.app", "org.mozilla.firefox"),
                    checks::versionAtLeast(54, kShortVersion), "Firefox", caches),
      browserCaches(QVRamDiskType_Chrome, browser("Google Chrome.app", "com.google.Chrome"),
                    checks::versionAtLeast(60, kShortVersion), "Chrome", caches + "/Google"),
      browserCaches(QVRamDiskType_Opera, browser("Opera.app", "com.operasoftware.Opera"),
                    checks::versionAtLeast(51, kBundleVersion), "com.operasoftware.Opera", caches)};
}

}  // namespace platform
