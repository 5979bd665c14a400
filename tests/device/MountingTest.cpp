#include "device/QVRamDiskDevice.h"
#include "tests/support/EngineTest.h"

namespace {

using platform::Tool;
using Text = std::optional<std::string>;

class MountingTest : public EngineTest {
 public:
  using EngineTest::folder;
  using EngineTest::places;
  using EngineTest::scratch;
  using EngineTest::work;

  QVErrorPtr mount(const std::string& node, const Text& directory, const std::string& name,
                   QVRamDiskFormat format = QVRamDiskFormat_HFSPlus) {
    mounted.reset();
    return QVRamDiskDevice::mountDeviceNode(node, directory, name, format, QVRamDiskType_Default,
                                            "NEW-ID", mounted);
  }
  // Puts a volume of this disk or of another over desk/vol and gives its node.
  std::string olderDisk(const char* identifier = "NEW-ID") {
    const std::string node = freshDevice();
    Text where;
    QVRamDiskDevice::mountDeviceNode(node, work, "vol", QVRamDiskFormat_HFSPlus,
                                     QVRamDiskType_Default, identifier, where);
    return where ? node : "";
  }
  void foreignVolume() {
    fs::create_directory(folder("vol"));
    ASSERT_EQ(::mount("foreign", folder("vol").c_str(), "tmpfs", 0, nullptr), 0);
    scratch.file("home/desk/vol/theirs", "theirs");
  }
  static bool isAttached(const std::string& node) {
    QVErrorPtr error;
    const auto devices = QVRamDiskDevice::deviceList(false, error);
    return devices && std::any_of(devices->begin(), devices->end(),
                                  [&](const auto& device) { return device.devNode == node; });
  }
  void takeForeignVolumeAway() { umount2(folder("vol").c_str(), MNT_DETACH); }

  Text mounted;
};

TEST_F(MountingTest, TheToolsGetTheArgumentsOfEachCase) {
  const std::string seen = scratch.path("arguments");
  replaceTool(Tool::Mounter, "printf '<%s>' \"$@\" > '" + seen + "'; exit 1");
  replaceTool(Tool::DiskUtility, "printf '<%s>' \"$@\" > '" + seen + "'; exit 1");
  places->volumes = scratch.directory("volumes");
  mount("/dev/disk7", work, "a b");
  EXPECT_EQ(readFile(seen), "<-o><noatime><-o><nobrowse><-t><hfs></dev/disk7><" + work + "/a b>");
  mount("/dev/disk7", std::nullopt, "a b");
  EXPECT_EQ(readFile(seen), "<-o><noatime><-t><hfs></dev/disk7><" + places->volumes + "/a b>");
  faults->fail("isWritable", 1, true);
  mount("/dev/disk7", std::nullopt, "a b");
  EXPECT_EQ(readFile(seen), "<erasevolume><HFS+><a b></dev/disk7>");
  mount("/dev/disk7", std::nullopt, "a b", QVRamDiskFormat_CaseSensitiveHFSPlus);
  EXPECT_EQ(readFile(seen), "<erasevolume><Case-sensitive HFS+><a b></dev/disk7>");
}

struct Row {
  const char* title;
  std::function<void(MountingTest&)> arrange;
  std::string verb;
  int nth;
  std::string message;
  std::string reason;
  bool inVolumes = false;  // mount where the system shows volumes
};

TEST_F(MountingTest, EveryFailureNamesItsStep) {
  const auto nothing = [](MountingTest&) {};
  const auto older = [](MountingTest& test) { ASSERT_NE(test.olderDisk(), ""); };
  const auto tool = [](Tool which) { return FaultyPlaces::verb(which); };
  const std::vector<Row> rows = {
      {"erase", [](MountingTest& test) { test.places->volumes = "/proc/nothing"; },
       tool(Tool::DiskUtility), 1, "Unable to erase and mount disk", "executeCommand:", true},
      {"missing path", nothing, "createDirectories", 1, "Unable to mount disk",
       "createDirectoryAtPath"},
      {"a file", [](MountingTest& test) { test.scratch.file("home/desk/vol"); }, "", 0,
       "The target is not a directory", "isDir==NO"},
      {"unknown state", [](MountingTest& test) { test.scratch.directory("home/desk/vol"); },
       "fileSystemNumber", 1, "Unable to get mount information", "state==-1"},
      {"foreign volume", [](MountingTest& test) { test.foreignVolume(); }, "", 0,
       "Another volume is mounted", "getExtentedAttribute==NO"},
      {"another disk's volume",
       [](MountingTest& test) {
         ASSERT_NE(test.olderDisk("OLD-ID"), "");
         test.scratch.file("home/desk/vol/theirs", "theirs");
       },
       "", 0, "Another volume is mounted", "getExtentedAttribute==NO"},
      {"older disk stays", older, tool(Tool::Unmounter), 1, "Unable to mount disk",
       "ejectDeviceNode:path:"},
      {"path after an eject", older, "createDirectories", 1, "Unable to mount disk",
       "createDirectoryAtPath:"},
      {"mounter", nothing, tool(Tool::Mounter), 1, "Unable to mount disk", "executeCommand:"},
      {"no mount point", nothing, "mounts", 1, "Unable to get mount point", "mountedPath==nil"},
      {"no label", nothing, "setAttribute", 1, "Unable set extended info",
       "setExtendedRamDiskInfos==NO"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.title);
    const std::string node = freshDevice();
    row.arrange(*this);
    if (!row.verb.empty()) faults->fail(row.verb, row.nth);
    const auto error = mount(node, row.inVolumes ? Text() : Text(work), "vol");
    EXPECT_TRUE(row.verb.empty() || faults->hits() == 1) << "the fault never struck";
    faults->clear();
    EXPECT_EQ(messageOf(error), row.message);
    EXPECT_EQ(reasonOf(error), row.reason);
    EXPECT_EQ(mounted, std::nullopt);
    EXPECT_TRUE(isAttached(node));
    if (row.message == "Another volume is mounted") {
      EXPECT_EQ(readFile(folder("vol") + "/theirs"), "theirs");
    }
    takeForeignVolumeAway();
    TearDownDisks();
    places->volumes.clear();
  }
}

TEST_F(MountingTest, AnOlderDiskOfOursIsReplaced) {
  const std::string old = olderDisk();
  scratch.file("home/desk/vol/old");
  const std::string node = freshDevice();
  ASSERT_EQ(mount(node, work, "vol"), nullptr);
  QVErrorPtr error;
  EXPECT_EQ(QVRamDiskDevice::deviceNodeFromPath(folder("vol"), error), node);
  EXPECT_FALSE(fs::exists(folder("vol") + "/old"));
  EXPECT_EQ(deviceCount(), 1U);
}

TEST_F(MountingTest, EjectingStopsAtTheStepThatFails) {
  const auto eject = [&](const Text& node, const Text& path) {
    return QVRamDiskDevice::ejectRamDiskDeviceNode(node, path, false);
  };
  EXPECT_EQ(reasonOf(eject(std::nullopt, work)), "deviceNode==nil");
  const std::string node = olderDisk();
  for (const Tool tool : {Tool::Unmounter, Tool::Attacher}) {
    faults->fail(FaultyPlaces::verb(tool));
    const auto error = eject(node, folder("vol"));
    EXPECT_EQ(messageOf(error) + "|" + reasonOf(error), "Unable to eject disk|executeCommand==NO");
    EXPECT_EQ(QVDescription(error->depends()), "injected failure\n");
    faults->clear();
    EXPECT_EQ(deviceCount(), 1U);
    EXPECT_EQ(isMounted(folder("vol")), tool == Tool::Unmounter);
  }
  EXPECT_EQ(eject(node, work + "/missing"), nullptr);
  EXPECT_EQ(deviceCount(), 0U);
}

TEST_F(MountingTest, TheMountDirectoryGoesOnlyWhenNothingOfTheUsersIsInIt) {
  struct Case {
    const char* file;  // below the volume, in the directory itself
    bool removeDir;
    const char* fault;
    bool remains;
    const char* logged;
  };
  for (const Case& c :
       {Case{"vol/.DS_Store", true, nullptr, false, nullptr},
        Case{"vol/ordinary", true, nullptr, true, nullptr},
        Case{"vol/.DS_Store", false, nullptr, true, nullptr},
        Case{"vol/.Trash/mine", true, nullptr, true, nullptr},
        Case{"vol/.DS_Store", true, "names", true, "contents==nil error:"},
        Case{"vol/.DS_Store", true, "removeEmpty", true, "removeItemAtPath:error: path:"}}) {
    fs::remove_all(folder("vol"));
    scratch.file("home/desk/" + std::string(c.file));
    const std::string node = olderDisk();
    ASSERT_NE(node, "");
    if (c.fault) faults->fail(c.fault);
    EXPECT_EQ(QVRamDiskDevice::ejectRamDiskDeviceNode(node, folder("vol"), c.removeDir), nullptr);
    faults->clear();
    EXPECT_EQ(fs::exists(folder("vol")), c.remains) << c.file;
    EXPECT_EQ(log->count(c.logged ? c.logged : "ERROR"), c.logged ? 1U : 0U);
    log->clear();
  }
}

TEST_F(MountingTest, ForceEjectingFindsTheDeviceByItself) {
  EXPECT_EQ(QVRamDiskDevice::forceEjectRamDiskAtPath(work), nullptr);
  EXPECT_EQ(reasonOf(QVRamDiskDevice::forceEjectRamDiskAtPath(std::nullopt)), "path==nil");
  ASSERT_NE(olderDisk(), "");
  EXPECT_EQ(QVRamDiskDevice::forceEjectRamDiskAtPath(folder("vol")), nullptr);
  EXPECT_EQ(deviceCount(), 0U);
  EXPECT_FALSE(fs::exists(folder("vol")));
}

}  // namespace
