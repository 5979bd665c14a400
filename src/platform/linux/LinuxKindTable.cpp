#include "platform/linux/LinuxKindTable.h"

#include "core/QVRamDiskTypes.h"

namespace platform {
namespace {

constexpr std::uint64_t kGigabyte = 1'000'000'000;
constexpr char kShortVersion[] = "CFBundleShortVersionString";
constexpr char kBundleVersion[] = "CFBundleVersion";

// An application without a place and an identifier is never found.
KindFacts notOnThisSystem(QVRamDiskType type) {
  return {.type = type, .preset = {.checks = {checks::applicationFound()}}};
}

KindFacts browser(QVRamDiskType type, const std::string& identifier, const PresetCheck& version,
                  const std::string& name, const std::string& directory) {
  return {.type = type,
          .application = {.bundleIdentifier = identifier, .runningIdentifiers = {identifier}},
          .preset = {.checks = {checks::applicationFound(), version, checks::exists(directory)},
                     .name = name,
                     .mountDirectory = directory,
                     .size = kGigabyte}};
}

}  // namespace

// Chromium stands for its kind where the browser built from it is not installed. Both count their
// versions alike.
KindTable linuxKindTable(const std::string& /*home*/, const std::string& caches) {
  const PresetCheck chromeVersion = checks::versionAtLeast(60, kShortVersion);
  return {
      notOnThisSystem(QVRamDiskType_Safari),
      notOnThisSystem(QVRamDiskType_XcodeBuild),
      notOnThisSystem(QVRamDiskType_IOsSimulator),
      notOnThisSystem(QVRamDiskType_CoreSimulator),
      notOnThisSystem(QVRamDiskType_AppCodeCaches),
      browser(QVRamDiskType_Firefox, "org.mozilla.firefox",
              checks::versionAtLeast(54, kShortVersion), "firefox", caches + "/mozilla"),
      browser(QVRamDiskType_Chrome, "com.google.Chrome", chromeVersion, "google-chrome", caches),
      browser(QVRamDiskType_Chrome, "org.chromium.Chromium", chromeVersion, "chromium", caches),
      browser(QVRamDiskType_Opera, "com.operasoftware.Opera",
              checks::versionAtLeast(51, kBundleVersion), "opera", caches)};
}

}  // namespace platform
