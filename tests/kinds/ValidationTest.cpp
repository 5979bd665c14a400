#include "platform/mac/MacPlaces.h"
#include "system/QVMacInfo.h"
#include "tests/kinds/World.h"

namespace {

using Message = QVRamDiskManager::Message;

constexpr std::uint64_t kSize = 128'000'000;
constexpr char kNoName[] = "Please, specify a name of RamDisk";
constexpr char kIllegalName[] = "The name contains invalid character.";
constexpr char kWrongSize[] = "Please, specify a correct size of RamDisk";
constexpr char kNoMemory[] = "Insuffisant computer memory";
constexpr char kSystem[] = "The mount directory can not be a system directory.";
constexpr char kLibrary[] = "The mount directory can not be a library sub directory.";

// The message, or "" where creation is allowed.
std::string refusal(const std::optional<std::string>& name, std::uint64_t size,
                    QVRamDiskType type = QVRamDiskType_Default,
                    const std::optional<std::string>& directory = std::nullopt) {
  Message message = "before";
  const bool allowed = QVRamDiskManager::canCreateWithName(name, size, type, directory, message);
  EXPECT_EQ(allowed, !message.has_value());
  return message.value_or("");
}

std::string directoryRefusal(const std::optional<std::string>& directory,
                             const std::optional<std::string>& name,
                             QVRamDiskType type = QVRamDiskType_Default) {
  Message message;
  const bool allowed = QVRamDiskManager::canUseMountDirectory(directory, name, type, message);
  EXPECT_EQ(allowed, !message.has_value());
  return message.value_or("");
}

TEST(Creation, Name) {
  World world;
  using Text = std::optional<std::string>;
  for (const auto& [name, expected] : {std::pair(Text(), kNoName),
                                       {"", kNoName},
                                       {" \t ", kNoName},
                                       {"\n", kIllegalName},
                                       {"a/b", kIllegalName},
                                       {" Disk ", ""}})
    EXPECT_EQ(refusal(name, kSize), expected) << name.value_or("nil");
}

TEST(Creation, SizeAndMemory) {
  struct Case {
    std::uint64_t memory, size;
    std::string expected;
  };
  constexpr std::uint64_t kGibi = 1ULL << 30U;
  const std::vector<Case> cases = {
      {256 * kGibi, 127'999'999, kWrongSize},    {256 * kGibi, 128'000'000, ""},
      {256 * kGibi, 128'000'000'000, ""},        {256 * kGibi, 128'000'000'001, kWrongSize},
      {256 * kGibi, ~0ULL, kWrongSize},          {4 * kGibi, 4'038'967'296, ""},
      {4 * kGibi, 4'038'967'297, kNoMemory},     {4 * kGibi + 1, 3'270'967'297, ""},
      {4 * kGibi + 1, 3'270'967'298, kNoMemory}, {8 * kGibi, 7'565'934'592, ""},
      {8 * kGibi, 7'565'934'593, kNoMemory},     {100'000'000, 128'000'000, kNoMemory}};
  for (const auto& one : cases) {
    World world;
    world.machine->memory = one.memory;
    EXPECT_EQ(refusal("Disk", one.size), one.expected) << one.memory << " " << one.size;
  }
}

// Each request has every later fault as well.
TEST(Creation, FirstFaultDecides) {
  World world;
  world.places->kinds = platform::macKindTable(world.home());
  world.machine->memory = kSize;
  const std::string missing = world.home("missing");
  const auto plain = QVRamDiskType_Default;
  EXPECT_EQ(refusal("/", 1, plain, missing), kIllegalName);
  EXPECT_EQ(refusal("Disk", 1, plain, missing), kWrongSize);
  EXPECT_EQ(refusal("Disk", kSize, plain, missing), "The mount directory does not exist.");
  EXPECT_EQ(refusal("Disk", kSize, plain, world.home()), kNoMemory);
  EXPECT_EQ(refusal("Disk", kSize, QVRamDiskType_Firefox, missing), kNoMemory);

  world.applications->applications = {{1, "org.mozilla.firefox", "Firefox"}};
  EXPECT_EQ(refusal("", 1, QVRamDiskType_Firefox, missing), "Firefox is running");
  EXPECT_EQ(refusal("", 1, QVRamDiskType_Chrome, missing), kNoName);
}

TEST(MountDirectory, MustBeThereAndLocal) {
  World world;
  const std::string unspecified = "The mount directory is not specified.";
  EXPECT_EQ(directoryRefusal(std::nullopt, "Disk"), unspecified);
  EXPECT_EQ(directoryRefusal(world.home(), std::nullopt), unspecified);
  EXPECT_EQ(directoryRefusal(std::nullopt, std::nullopt, QVRamDiskType_Opera), "");
  EXPECT_EQ(directoryRefusal(world.home("none"), "Disk"), "The mount directory does not exist.");
  EXPECT_EQ(directoryRefusal(world.scratch.file("home/file"), "Disk"),
            "The mount directory is not a directory.");

  const std::string notLocal = "The mount directory is not local.";
  world.volumes->answer = false;
  EXPECT_EQ(directoryRefusal(world.home(), "Disk"), notLocal);
  EXPECT_TRUE(world.log->entries().empty());
  world.volumes->answer = platform::SystemError{"POSIX", 5, "Input/output error"};
  EXPECT_EQ(directoryRefusal(world.home(), "Disk"), notLocal);
  EXPECT_EQ(world.log->count("getResourceValue==NO URL:" + world.home() + " error:"), 1U);
  for (const auto& [product, mayBeFar] : {std::pair("10.8.5", true), {"10.9.5", false}}) {
    world.machine->product = product;
    world.machine->systemMajor = 10;
    world.machine->systemMinor = mayBeFar ? 8 : 9;
    QVMacInfo::forgetCachedAnswers();
    EXPECT_EQ(directoryRefusal(world.home(), "Disk").empty(), mayBeFar) << product;
  }
  QVMacInfo::forgetCachedAnswers();
}

// Some systems have their homes below "/var", and show them at "/home" by a link.
TEST(MountDirectory, OfAUserIsNoneOfTheSystemWhereverLinksLead) {
  World world;
  const std::string real = world.scratch.directory("var/home");
  std::filesystem::remove(world.home());
  std::filesystem::create_directory_symlink(real, world.home());
  world.places->protectedPaths = {world.scratch.path("var")};
  QVRamDiskManager::forgetCachedAnswers();
  EXPECT_EQ(directoryRefusal(real, "Disk"), "");
  EXPECT_EQ(directoryRefusal(real, "Library"), kLibrary);
  EXPECT_EQ(directoryRefusal(world.scratch.directory("var/lib"), "Disk"), kSystem);
}

// macOS with everything moved below the scratch folder.
class MacPlaces : public doubles::FakePlaces {
 public:
  explicit MacPlaces(const std::string& root) : FakePlaces(root), home_(root + "/Users/ann") {
    for (const auto& path : platform::macProtectedDirectories())
      protectedPaths.push_back(root + path);
  }
  std::optional<std::string> home() const override {
    return homeIsKnown ? std::optional(home_) : std::nullopt;
  }
  std::vector<std::string> libraryPrefixes() const override {
    return platform::macLibraryPrefixes(home_);
  }
  std::vector<std::string> allowedLibraryPrefixes() const override {
    return platform::macAllowedLibraryPrefixes(home_);
  }

 private:
  std::string home_;
};

TEST(MountDirectory, MustLieInASafePlace) {
  struct Case {
    std::string directory, name, expected;
  };
  std::vector<Case> cases = {{"/Users", "Disk", "The mount directory can not be /Users."},
                             {"/Users/ann", "Disk", ""},
                             {"/Volumes", "Disk", "The mount directory can not be /Volumes."},
                             {"/Volumes/Other", "Disk", ""},
                             {"/Users/ann/Library", "Caches", kLibrary},
                             {"/Users/ann/Library/Caches", "Disk", kLibrary},
                             {"/Users/ann", "Library", kLibrary},
                             {"/Users/ann", "Library of mine", kLibrary},
                             {"/Users/ann/Library", "Developer", ""},
                             {"/Users/ann/Library/Developer/Xcode", "Disk", ""},
                             {"/Users/ann/Documents", "Library", ""},
                             {"/Users/bob/Library", "Disk", ""}};
  for (const std::string path :
       {"/.Trashes", "/Applications", "/bin", "/cores", "/dev", "/etc", "/home", "/Library", "/net",
        "/Network", "/private", "/sbin", "/System", "/tmp", "/usr", "/var"}) {
    cases.push_back({"", path.substr(1), kSystem});
    cases.push_back({path, "Disk", kSystem});
    cases.push_back({path + "/deep", "Disk", kSystem});
    cases.push_back({path + "2", "Disk", ""});
  }
  World world;
  world.install(std::make_shared<MacPlaces>(world.scratch.path()));
  for (const auto& one : cases) {
    const std::string directory = world.scratch.path() + one.directory;
    std::filesystem::create_directories(directory);
    EXPECT_EQ(directoryRefusal(directory, one.name), one.expected)
        << one.directory << " " << one.name;
  }

  world.install(std::make_shared<MacPlaces>(world.scratch.path()));
  world.places->homeIsKnown = false;
  EXPECT_EQ(directoryRefusal(world.scratch.path("Users/ann/Library/Caches"), "Disk"), "");
}

TEST(MountDirectory, AtTheRootHasNoDoubledSlash) {
  World world;
  world.places->protectedPaths = platform::macProtectedDirectories();
  EXPECT_EQ(directoryRefusal("/", "tmp"), kSystem);
  EXPECT_NE(directoryRefusal("/", "tmp2"), kSystem);
}

TEST(MountDirectory, MustBeWritable) {
  World world;
  world.makeReadOnly(world.scratch.directory("home/locked"));
  EXPECT_EQ(directoryRefusal(world.home("locked"), "Disk"), "The mount directory is not writable.");
  world.scratch.directory("home/Library/Caches");
  world.makeReadOnly(world.home("Library/Caches"));
  EXPECT_EQ(directoryRefusal(world.home("Library/Caches"), "Disk"), kLibrary);
}

// Only a creation tells its stages; the first and those that it does not know are its own text.
TEST(DisplayString, OfEveryAction) {
  World world;
  const auto texts = englishTexts("QVRamDiskLocalizable");
  const auto shown = [](unsigned action, unsigned info) {
    return QVRamDiskManager::displayStringFromAction(QVRamDiskAction(action),
                                                     QVRamDiskActionInfo(info));
  };
  const char* const names[] = {"creating", "copyingToBase", "backuping", "remounting",
                               "ejecting", "cleanUpFiles",  "rebuild"};
  for (unsigned action = 1; action <= std::size(names); ++action)
    for (const unsigned info : {0U, 2U, 9U, 10U})
      EXPECT_EQ(shown(action, info),
                texts.at(std::string("QVRamDiskActionInfo_") + names[action - 1]));
  EXPECT_EQ(shown(1, 5), texts.at("QVRamDiskActionInfo_creatingRecopingFromBase"));
  EXPECT_EQ(shown(1, 8), texts.at("QVRamDiskActionInfo_creatingMdIndexMode"));
  for (const unsigned none : {0U, 8U}) EXPECT_EQ(shown(none, 5), std::nullopt);
}

}  // namespace
