#include <fmt/format.h>

#include "platform/linux/LinuxPlaces.h"
#include "platform/mac/MacPlaces.h"
#include "tests/kinds/World.h"

namespace {

constexpr std::int64_t kNoPreset = 99;

// "status 'name' directory size" with the directory below home, or the status alone.
std::string shown(const World& world, std::int64_t type,
                  const std::optional<std::string>& simId = std::nullopt) {
  const auto infos =
      QVRamDiskManager::creationInfosOfRamDiskType(static_cast<QVRamDiskType>(type), simId);
  if (!infos) return std::to_string(kNoPreset);
  const bool isWhole = infos->name && infos->mountDirectory && infos->size;
  EXPECT_TRUE(isWhole || !(infos->name || infos->mountDirectory || infos->size));
  if (!isWhole) return std::to_string(infos->status);
  return fmt::format("{} '{}' {} {}", infos->status, *infos->name,
                     infos->mountDirectory->substr(world.home().size() + 1), *infos->size);
}

void setVersions(World& world, const std::string& path, const std::string& shortVersion,
                 const std::string& bundleVersion) {
  world.applications->infos[{path, "CFBundleShortVersionString"}] = shortVersion;
  world.applications->infos[{path, "CFBundleVersion"}] = bundleVersion;
}

struct Row {
  std::int64_t type;
  std::string version;  // "short/bundle" or both at once; "none": not installed, "any": it has none
  std::string below;    // the directory there is below home
  std::int64_t status;  // expected
  struct {
    int system = 13;  // of version 10
    bool isReadOnly = false;
    std::optional<std::string> device{};
  } with{};
};

// The table of macOS, with the applications' usual places moved below the scratch folder.
void arrange(World& world, const Row& row) {
  world.machine->systemMajor = 10;
  world.machine->systemMinor = row.with.system;
  if (!row.below.empty()) world.scratch.directory("home/" + row.below);
  if (row.with.isReadOnly) world.makeReadOnly(world.home(row.below));
  world.places->kinds = platform::macKindTable(world.home());
  for (auto& facts : world.places->kinds) {
    auto& place = facts.application.usualPlace;
    place.insert(0, world.scratch.path());
    if (facts.type != row.type || row.version == "none") continue;
    std::filesystem::create_directories(place);
    if (row.version == "any") continue;
    const auto slash = row.version.find('/');
    setVersions(world, place, row.version.substr(0, slash), row.version.substr(slash + 1));
  }
}

const std::string kCaches = "Library/Caches";
const std::string kXcode = "Library/Developer/Xcode";
const std::string kSupport = "Library/Application Support";
const std::string kDeveloper = "Library/Developer";
const std::string kDevices = "Library/Developer/CoreSimulator/Devices";
const std::string kGoogle = "Library/Caches/Google";

const std::map<std::int64_t, std::string> kUsable = {
    {2, "1 'com.apple.Safari' Library/Caches 1000000000"},
    {3, "1 'DerivedData' Library/Developer/Xcode 4000000000"},
    {4, "1 'iPhone Simulator' Library/Application Support 4000000000"},
    {5, "1 'CoreSimulator' Library/Developer 4000000000"},
    {6, "1 'AppCode2019.3' Library/Caches 4000000000"},
    {7, "1 'Firefox' Library/Caches 1000000000"},
    {8, "1 'Chrome' Library/Caches/Google 1000000000"},
    {9, "1 'com.operasoftware.Opera' Library/Caches 1000000000"}};

const std::vector<Row> kRows = {
    {0, "none", "", 1},
    {1, "none", kCaches, kNoPreset},
    {10, "none", kCaches, kNoPreset},

    {2, "any", kCaches, 1},
    {2, "none", kCaches, -1, {.system = 14}},
    {2, "any", "Library", 0},
    {2, "any", kCaches, 0, {.isReadOnly = true}},
    {2, "any", kCaches, 0, {.system = 14}},
    {3, "any", kXcode, 1, {.system = 15}},
    {3, "none", kXcode, -1},
    {3, "any", kXcode, 0, {.isReadOnly = true}},
    {4, "5.1", kSupport, 1, {.isReadOnly = true}},
    {4, "5.1", "Library", 0},
    {4, "6.0", kSupport, -1},
    {5, "6.0", kDeveloper, 1, {.system = 15, .isReadOnly = true}},
    {5, "5.1", kDeveloper, -1},
    {5, "any", kDeveloper, -1},
    {5, "6.0", "Library", 0},
    {5, "6.0", kDevices, 0, {.device = "AB-12"}},
    {5, "5.0", kDevices + "/AB-12", -1, {.device = "AB-12"}},
    {6, "any", kCaches + "/AppCode2019.3", 1},
    {6, "any", kCaches + "/MyAppCode", 0},
    {7, "54.0/1", kCaches, 1, {.system = 15, .isReadOnly = true, .device = "AB-12"}},
    {7, "53.9/99", kCaches, 0},
    {7, "any", kCaches, 0},
    {7, "beta.54", kCaches, 0},
    {8, "60.0.1/1", kGoogle, 1},
    {8, "59.9/99", kGoogle, 0},
    {9, "1/51.0", kCaches, 1},
    {9, "99/50.9", kCaches, 0}};

TEST(Presets, OfMacOS) {
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    const Row& row = kRows[i];
    SCOPED_TRACE(fmt::format("row {} of type {}", i, row.type));
    World world;
    arrange(world, row);
    const bool isUsable = row.status == 1 && row.type != 0;
    EXPECT_EQ(shown(world, row.type, row.with.device),
              isUsable ? kUsable.at(row.type) : std::to_string(row.status));
    EXPECT_TRUE(world.alerts->shown.empty());
  }
  World world;
  arrange(world, {5, "6.0", kDevices + "/A%@B", 1});
  EXPECT_EQ(shown(world, 5, "A%@B"), "1 'A%@B' " + kDevices + " 1000000000");
}

TEST(Presets, ApplicationIsLookedForElsewhere) {
  World world;
  arrange(world, {3, "none", kXcode, -1});
  EXPECT_EQ(QVRamDiskManager::favoriteXcodePath(), std::nullopt);
  const std::string other = world.scratch.path("Other/Xcode.app");
  world.applications->paths = {{"com.apple.dt.Xcode", other},
                               {"com.apple.Safari", "/a"},
                               {"org.mozilla.firefox", "/b"},
                               {"com.google.Chrome", "/c"},
                               {"com.operasoftware.Opera", "/d"}};
  EXPECT_EQ(QVRamDiskManager::favoriteXcodePath(), other);
  EXPECT_EQ(shown(world, 3), "-1") << "known to the system, but gone";
  world.scratch.directory("Other/Xcode.app");
  EXPECT_EQ(shown(world, 3), kUsable.at(3));
  const auto usual = world.scratch.directory("Applications/Xcode.app");
  EXPECT_EQ(QVRamDiskManager::favoriteXcodePath(), usual);
  EXPECT_EQ(QVRamDiskManager::favoriteSafariPath(), "/a");
  EXPECT_EQ(QVRamDiskManager::favoriteFirefoxAppPath(), "/b");
  EXPECT_EQ(QVRamDiskManager::favoriteChromeAppPath(), "/c");
  EXPECT_EQ(QVRamDiskManager::favoriteOperaAppPath(), "/d");
}

TEST(Presets, AppCodeFolderIsSearchedUntilFoundThenKept) {
  World world;
  arrange(world, {6, "any", "", 0});
  EXPECT_EQ(shown(world, 6), "0");
  EXPECT_EQ(world.log->count("dirContent==nil error:"), 1U);
  world.scratch.file("home/" + kCaches + "/AppCode.log");
  world.scratch.directory("home/" + kCaches + "/AppCode2019.3 (Tarnvale Backup Base)");
  EXPECT_EQ(shown(world, 6), "0");
  const auto folder = world.scratch.directory("home/" + kCaches + "/AppCode2019.3");
  EXPECT_EQ(shown(world, 6), kUsable.at(6));
  std::filesystem::remove_all(folder);
  EXPECT_EQ(shown(world, 6), kUsable.at(6)) << "the folder need not stay";
  std::filesystem::remove_all(world.home(kCaches));
  EXPECT_EQ(shown(world, 6), "0") << "the directory above it must";
  EXPECT_EQ(world.log->count("dirContent==nil error:"), 1U);
}

TEST(Presets, ManyThreadsMayAsk) {
  World world;
  arrange(world, {6, "any", kCaches + "/AppCode2019.3", 1});
  std::atomic<int> usable = 0;
  std::array<std::thread, 4> threads;
  for (auto& thread : threads)
    thread = std::thread([&] { usable += shown(world, 6) == kUsable.at(6) ? 1 : 0; });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(usable, 4);
}

TEST(Presets, OfLinux) {
  World world;
  world.places->kinds = platform::linuxKindTable(world.home(), world.home(".cache"));
  world.scratch.directory("home/.cache/mozilla");
  const auto install = [&](const std::string& identifier, const std::string& version) {
    const auto path = world.scratch.executable("bin/" + identifier, "");
    world.applications->paths[identifier] = path;
    setVersions(world, path, version, version);
  };
  for (const std::int64_t type : {2, 3, 4, 5, 6, 7, 8, 9}) EXPECT_EQ(shown(world, type), "-1");
  EXPECT_EQ(shown(world, 5, "AB-12"), "-1");
  EXPECT_EQ(shown(world, 1), std::to_string(kNoPreset));
  EXPECT_EQ(QVRamDiskManager::favoriteXcodePath(), std::nullopt);

  install("com.operasoftware.Opera", "51.0");
  EXPECT_EQ(shown(world, 9), "1 'opera' .cache 1000000000");
  install("org.chromium.Chromium", "60.0");
  world.applications->applications = {{1, "org.chromium.Chromium", "Chromium"}};
  EXPECT_EQ(shown(world, 8), "1 'chromium' .cache 1000000000");
  EXPECT_TRUE(QVRamDiskManager::hasRunningAppForType(QVRamDiskType_Chrome, nullptr));
  install("com.google.Chrome", "59.0");
  EXPECT_EQ(shown(world, 8), "0") << "Chrome itself stands for its kind";
  EXPECT_FALSE(QVRamDiskManager::hasRunningAppForType(QVRamDiskType_Chrome, nullptr));
  install("com.google.Chrome", "60.0");
  EXPECT_EQ(shown(world, 8), "1 'google-chrome' .cache 1000000000");
}

// The first way in which a browser is installed stands for its kind, with the cache that it has so.
TEST(Presets, OfLinuxFollowThePackageSystem) {
  World world;
  world.places->kinds = platform::linuxKindTable(world.home(), world.home(".cache"));
  const struct {
    std::int64_t type;
    std::string identifier;
    std::string caches;
    std::string name;
  } cases[] = {
      {7, "org.mozilla.firefox.snap", "snap/firefox/common/.cache/mozilla", "firefox"},
      {7, "org.mozilla.firefox.flatpak", ".var/app/org.mozilla.firefox/cache/mozilla", "firefox"},
      {7, "org.mozilla.firefox", ".cache/mozilla", "firefox"},
      {8, "org.chromium.Chromium.snap", "snap/chromium/common/.cache", "chromium"},
      {8, "org.chromium.Chromium.flatpak", ".var/app/org.chromium.Chromium/cache", "chromium"},
      {8, "com.google.Chrome.flatpak", ".var/app/com.google.Chrome/cache", "google-chrome"},
      {9, "com.operasoftware.Opera.snap", "snap/opera/common/.cache", "opera"},
      {9, "com.operasoftware.Opera.flatpak", ".var/app/com.opera.Opera/cache", "opera"}};
  for (const auto& [type, identifier, caches, name] : cases) {
    const auto path = world.scratch.executable("bin/" + identifier, "");
    world.applications->paths[identifier] = path;
    setVersions(world, path, "128.0", "128.0");
    EXPECT_EQ(shown(world, type), "0") << identifier << " has not run yet";
    world.scratch.directory("home/" + caches);
    EXPECT_EQ(shown(world, type), fmt::format("1 '{}' {} 1000000000", name, caches));
    world.applications->applications = {{1, identifier, "Name"}};
    EXPECT_TRUE(QVRamDiskManager::hasRunningAppForType(static_cast<QVRamDiskType>(type), nullptr));
  }
  // Without a home only the user's cache directory is known.
  for (const auto& facts : platform::linuxKindTable("", "/caches"))
    EXPECT_FALSE(facts.preset.mountDirectory.starts_with("/.var")) << facts.preset.mountDirectory;
}

TEST(RunningApplications, OfEachKind) {
  const std::string xcode = "com.apple.dt.Xcode";
  const std::string simulator = "com.apple.iphonesimulator";
  const std::vector<std::pair<std::string, std::set<std::size_t>>> kinds = {
      {"com.apple.Safari", {2}},       {xcode, {3}},
      {simulator, {3, 4, 5}},          {"com.jetbrains.AppCode", {6}},
      {"org.mozilla.firefox", {7}},    {"com.google.Chrome", {8}},
      {"com.operasoftware.Opera", {9}}};
  World world;
  world.places->kinds = platform::macKindTable(world.home());
  const auto isRunning = [](std::size_t type, QVRamDiskManager::Message* message) {
    return QVRamDiskManager::hasRunningAppForType(static_cast<QVRamDiskType>(type), message);
  };
  for (std::size_t type = 0; type <= 10; ++type) {
    world.applications->applications = {};
    QVRamDiskManager::Message message = "before";
    EXPECT_FALSE(isRunning(type, &message));
    EXPECT_EQ(message.has_value(), type < 2 || type > 9) << "left alone where no test is made";
    for (const auto& [identifier, types] : kinds) {
      world.applications->applications = {{1, identifier, "Name"}};
      EXPECT_EQ(isRunning(type, nullptr), types.contains(type)) << type << " " << identifier;
    }
  }
  world.applications->applications = {{1, simulator, "Simulator"}, {2, xcode, "Xcode"}};
  QVRamDiskManager::Message message;
  EXPECT_TRUE(isRunning(3, &message));
  EXPECT_EQ(message, "Xcode is running");
}

TEST(RunningApplications, AreNamedByTheFirstCopy) {
  World world;
  world.applications->applications = {{1, "a.b", "First %@"}, {2, "a.b", "Second"}, {3, "c", {}}};
  QVRamDiskManager::Message message;
  EXPECT_TRUE(QVRamDiskManager::hasRunningApplication("a.b", &message));
  EXPECT_EQ(message, "First %@ is running");
  EXPECT_TRUE(QVRamDiskManager::hasRunningApplication("c", &message));
  EXPECT_EQ(message, "c is running");
  EXPECT_FALSE(QVRamDiskManager::hasRunningApplication(std::nullopt, &message));
  EXPECT_EQ(message, std::nullopt);
}

class PlacesWithoutSupport : public doubles::FakePlaces {
 public:
  using FakePlaces::FakePlaces;
  std::vector<std::string> applicationSupportDirectories() const override { return {}; }
};

TEST(AppSupport, IsMadeWhenMissing) {
  World world;
  const std::string path = world.home("support/com.tarnvale.Tarnvale");
  EXPECT_EQ(QVRamDiskManager::appSupportPath(), path);
  EXPECT_TRUE(std::filesystem::is_directory(path));

  std::filesystem::remove_all(world.home("support"));
  world.scratch.file("home/support/com.tarnvale.Tarnvale");
  EXPECT_EQ(QVRamDiskManager::appSupportPath(), path) << "whatever is there is accepted";

  std::filesystem::remove_all(world.home("support"));
  world.scratch.file("home/support");
  EXPECT_EQ(QVRamDiskManager::appSupportPath(), std::nullopt);
  EXPECT_EQ(world.log->count("createDirectoryAtPath==NO dirPath:" + path + " error:"), 1U);

  world.install(std::make_shared<PlacesWithoutSupport>(world.scratch.path()));
  EXPECT_EQ(QVRamDiskManager::appSupportPath(), std::nullopt);
  EXPECT_EQ(world.log->count("dirPath==nil"), 1U);
}

}  // namespace
