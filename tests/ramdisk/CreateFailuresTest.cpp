#include <filesystem>
#include <fstream>

#include "system/QVFunctions.h"
#include "tests/support/EngineTest.h"

namespace {

namespace fs = std::filesystem;
using platform::Tool;

constexpr char kBase[] = "Unable to create RamDisk";

// One way in which a creation fails, and all that it leaves.
struct CreateFailure {
  const char* title;
  std::function<void(EngineTest&, QVRamDisk&)> arrange;
  std::string verb;  // of the call that fails, empty when the arrangement suffices
  int nth = 1;
  std::string message;
  std::string reason;
  std::string cause;                                    // part of the cause's text, empty for none
  std::size_t devices = 0;                              // attached afterwards
  QVRamDiskStatus status = QVRamDiskStatus_notCreated;  // as the creation leaves it
};

class CreateFailures : public EngineTest {
 public:
  using EngineTest::folder;
  using EngineTest::places;
  using EngineTest::recorder;
  using EngineTest::replaceTool;
  using EngineTest::savedBase;
  using EngineTest::scratch;

 protected:
  void check(const CreateFailure& row);
};

CreateFailures& own(EngineTest& test) { return static_cast<CreateFailures&>(test); }

void tooLargeForTheDisk(EngineTest& test, QVRamDisk& disk) {
  const std::string path = own(test).folder("cache") + "/large";
  std::ofstream(path) << "x";
  fs::resize_file(path, disk.size() / 3 * 2 + 1);
}

std::vector<CreateFailure> rows() {
  const std::string failed = "injected failure";
  const auto nothing = [](EngineTest&, QVRamDisk&) {};
  const auto tool = [](Tool which) { return FaultyPlaces::verb(which); };
  return {
      {"validation", [](EngineTest&, QVRamDisk& disk) { disk.setSize(1); }, "", 1, kBase,
       "canStatus==NO", ""},
      {"space", tooLargeForTheDisk, "", 1,
       "Insufficient space to create RamDisk (RamDisk: 122.1 MB, Base: 81.4 MB)",
       "directoryStatistics.totalSize", ""},
      {"old saved base",
       [](EngineTest& test, QVRamDisk&) {
         own(test).scratch.file("home/desk/cache (Tarnvale Backup Base)/.DS_Store");
       },
       "", 1, "Unable to delete previous backup base (%SAVED%)", "removeItemAtPath==NO", ""},
      {"setting aside", nothing, "exchange", 1,
       "Unable to move current base (%BASE%) before create RamDisk", "removeItemAtPath==NO",
       failed},
      {"attach", nothing, tool(Tool::Attacher), 1, kBase, "executeCommand==NO", failed},
      {"two entities",
       [](EngineTest& test, QVRamDisk&) {
         own(test).replaceTool(Tool::Attacher,
                               "echo '<plist><dict><key>system-entities</key><array>"
                               "<dict><key>dev-entry</key><string>/dev/disk8</string></dict>"
                               "<dict><key>dev-entry</key><string>/dev/disk8s1</string></dict>"
                               "</array></dict></plist>'");
       },
       "", 1, kBase, "systemEntities", ""},
      {"no property list",
       [](EngineTest& test, QVRamDisk&) { own(test).replaceTool(Tool::Attacher, "echo attached"); },
       "", 1, kBase, "systemEntities", ""},
      {"formatter", nothing, tool(Tool::Formatter), 1, kBase, "executeCommand==NO", failed},
      {"formatter's words",
       [](EngineTest& test, QVRamDisk&) {
         own(test).replaceTool(
             Tool::Formatter,
             "echo 'Initialized /dev/rdisk4 as a 1 MB HFS Plus volume'; echo more");
       },
       "", 1, kBase, "lines", ""},
      {"mount", nothing, tool(Tool::Mounter), 1, kBase, "mountDeviceNode", "Unable to mount disk"},
      {"post-command",
       [](EngineTest&, QVRamDisk& disk) {
         disk.setPostCmd(" /bin/sh \n");
         disk.setPostCmdArgs({{"-c", "echo it failed >&2; exit 9"}});
       },
       "", 1, "Can not execute post-command", "runPostCommand", "it failed"},
      {"indexing on",
       [](EngineTest&, QVRamDisk& disk) { disk.setMdIndexMode(QVRamDiskMdIndexMode_On); },
       tool(Tool::Indexer), 1, "Can not apply status of MD Index", "executeCommand==NO", failed},
      {"indexing off, second run",
       [](EngineTest&, QVRamDisk& disk) { disk.setMdIndexMode(QVRamDiskMdIndexMode_Off); },
       tool(Tool::Indexer), 2, "Can not apply status of MD Index", "executeCommand==NO", failed},
      {"indexing off, third run",
       [](EngineTest&, QVRamDisk& disk) { disk.setMdIndexMode(QVRamDiskMdIndexMode_Off); },
       tool(Tool::Indexer), 3, "Can not apply status of MD Index", "executeCommand==NO", failed},
  };
}

std::string replaced(std::string text, const std::string& what, const std::string& by) {
  const auto place = text.find(what);
  return place == std::string::npos ? text : text.replace(place, what.size(), by);
}

void CreateFailures::check(const CreateFailure& row) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_Base);
  scratch.file("home/desk/cache/kept", "mine");
  row.arrange(*this, *disk);
  if (!row.verb.empty()) faults->fail(row.verb, row.nth);
  const auto error = perform(QVRamDiskActionCreate, disk);
  EXPECT_TRUE(row.verb.empty() || faults->hits() == 1) << "the fault never struck";
  faults->clear();
  places->replacements.clear();

  const std::string message =
      replaced(replaced(row.message, "%SAVED%", savedBase("cache")), "%BASE%", folder("cache"));
  EXPECT_EQ(messageOf(error), message);
  EXPECT_EQ(reasonOf(error), row.reason);
  const std::string cause = error ? QVDescription(error->depends()) : "";
  EXPECT_NE(cause.find(row.cause), std::string::npos) << cause;
  EXPECT_EQ(disk->action(), QVRamDiskActionNone);
  EXPECT_EQ(disk->status(), row.status);
  EXPECT_EQ(disk->path().has_value(), row.status == QVRamDiskStatus_mounted);
  EXPECT_EQ(deviceCount(), row.devices);
  EXPECT_FALSE(isMounted(folder("cache")));
  EXPECT_EQ(readFile(folder("cache") + "/kept"), "mine") << "it is back in the same action";
  EXPECT_FALSE(fs::exists(savedBase("cache") + "/kept"));

  disk->update();
  EXPECT_EQ(disk->status(), QVRamDiskStatus_notCreated);
}

TEST_F(CreateFailures, EachSaysWhatFailedAndKeepsTheFiles) {
  for (const CreateFailure& row : rows()) {
    SCOPED_TRACE(row.title);
    check(row);
    fs::remove_all(folder("cache"));
    fs::remove_all(savedBase("cache"));
  }
}

// Contents that cannot be brought back are reported, but the disk is there.
TEST_F(CreateFailures, AFailedRecopyingIsReportedAndTheDiskStays) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_Base);
  recorder->onReport = [](QVRamDisk& reporting) {
    if (reporting.lastActionInfo() == QVRamDiskActionInfo_creatingRecopingFromBase)
      reporting.setPath(std::nullopt);
  };
  const auto error = perform(QVRamDiskActionCreate, disk);
  EXPECT_EQ(messageOf(error), kBase);
  EXPECT_EQ(reasonOf(error), "restoreRamDiskAtPath");
  EXPECT_EQ(disk->status(), QVRamDiskStatus_mounted);
  EXPECT_TRUE(isMounted(folder("cache")));
  EXPECT_EQ(deviceCount(), 1U);
}

TEST_F(CreateFailures, MissingAttributesAndARefusedIconAreOnlyLogged) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_Base);
  scratch.file("home/desk/cache/.VolumeIcon.icns", "picture");
  workspace->succeeds = false;
  faults->fail("attributes", 2);  // the first one asks how long a name may be
  EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  EXPECT_EQ(faults->hits(), 1);
  EXPECT_EQ(disk->volSize(), 0U);
  EXPECT_EQ(log->count("attrs==nil mountedPath:" + folder("cache")), 1U);
  EXPECT_EQ(
      log->count("icon==nil || setIcon==NO volIconPath:" + folder("cache") + "/.VolumeIcon.icns"),
      1U);
}

}  // namespace
