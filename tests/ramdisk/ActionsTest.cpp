#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "device/QVRamDiskDevice.h"
#include "ramdisk/ActionLock.h"
#include "tests/support/EngineTest.h"
#include "tests/support/NoThreads.h"

namespace {

namespace fs = std::filesystem;
using platform::Tool;
using Reports = std::vector<std::string>;

class ActionsTest : public EngineTest {
 protected:
  // A mounted disk over home/desk/cache with one file from its base.
  QVRamDiskPtr mountedDisk(QVRamDiskBackupMode mode) {
    auto disk = diskOver("cache", mode);
    scratch.file("home/desk/cache/old", "old");
    if (mode == QVRamDiskBackupMode_Directory)
      disk->setBackupDir(scratch.directory("home/backups"));
    EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
    return disk;
  }
  // Until what is written from now on has another time than what was written before.
  void letTimePass() {
    const std::string path = scratch.file("home/clock");
    const auto before = fs::last_write_time(path);
    while (fs::last_write_time(path) == before) scratch.file("home/clock");
  }
  std::string backupOf(const QVRamDiskPtr& disk) { return disk->backupDirPath().value_or("none"); }
};

TEST_F(ActionsTest, ABaseModeDiskGoesThroughItsWholeLife) {
  const auto disk = mountedDisk(QVRamDiskBackupMode_Base);
  EXPECT_EQ(recorder->reports(), (Reports{"1/2", "1/1", "1/2", "1/3", "1/4", "1/5", "0/2"}));
  EXPECT_TRUE(isMounted(folder("cache")));
  EXPECT_EQ(disk->status(), QVRamDiskStatus_mounted);
  EXPECT_GT(disk->volSize(), kSize / 2);
  EXPECT_EQ(readFile(folder("cache") + "/old"), "old");
  EXPECT_EQ(disk->hasContents(), 1);

  scratch.file("home/desk/cache/deep/new", "new");
  EXPECT_EQ(perform(QVRamDiskActionSyncWithBase, disk), nullptr);
  EXPECT_EQ(readFile(savedBase("cache") + "/deep/new"), "new");
  EXPECT_FALSE(fs::exists(savedBase("cache") + ".previous"));

  scratch.file("home/desk/cache/old", "newer");
  fs::remove_all(folder("cache") + "/deep");
  EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
  EXPECT_FALSE(isMounted(folder("cache")));
  EXPECT_EQ(readFile(folder("cache") + "/old"), "newer");
  EXPECT_FALSE(fs::exists(folder("cache") + "/deep"));
  EXPECT_FALSE(fs::exists(savedBase("cache")));
  EXPECT_EQ(disk->status(), QVRamDiskStatus_notCreated);
  EXPECT_EQ(disk->path(), std::nullopt);
  EXPECT_EQ(deviceCount(), 0U);
  const Reports all = recorder->reports();
  EXPECT_EQ(Reports(all.end() - 5, all.end()), (Reports{"2/9", "0/9", "2/9", "2/12", "0/12"}));
}

// Where the file system in memory has no user attributes, a device over memory stands in.
TEST_F(ActionsTest, ADiskOnABlockDeviceLivesTheSameLife) {
  replaceTool(Tool::Attacher, "tool='" + places->realTool(Tool::Attacher) +
                                  "'; [ \"$1\" = attach ] || exec \"$tool\" \"$@\"; "
                                  "exec \"$tool\" \"$@\" -backing block");
  const auto disk = diskOver("cache", QVRamDiskBackupMode_Base);
  scratch.file("home/desk/cache/old", "old");
  if (const auto error = perform(QVRamDiskActionCreate, disk))
    GTEST_SKIP() << "no loop devices here: " << QVDescription(error->depends());
  EXPECT_NE(readFile("/proc/self/mountinfo").find(folder("cache") + " rw,nosuid,nodev,noatime"),
            std::string::npos);
  EXPECT_EQ(log->count("ERROR"), 0U);
  EXPECT_EQ(readFile(folder("cache") + "/old"), "old");
  scratch.file("home/desk/cache/deep/new", "new");
  EXPECT_FALSE(disk->path().value_or("").empty());
  ASSERT_EQ(umount2(folder("cache").c_str(), 0), 0);
  EXPECT_EQ(perform(QVRamDiskActionRemount, disk), nullptr);
  EXPECT_EQ(perform(QVRamDiskActionRebuild, disk), nullptr);
  EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
  EXPECT_EQ(readFile(folder("cache") + "/deep/new"), "new");
  EXPECT_FALSE(fs::exists(folder("cache") + "/lost+found"));
  EXPECT_EQ(deviceCount(), 0U);
}

TEST_F(ActionsTest, APrivateDirectoryStaysPrivate) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_Base);
  fs::permissions(folder("cache"), fs::perms::owner_all);
  ASSERT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  EXPECT_EQ(fs::status(folder("cache")).permissions(), fs::perms::owner_all);
  ASSERT_EQ(perform(QVRamDiskActionSyncWithBase, disk), nullptr);
  EXPECT_EQ(fs::status(savedBase("cache")).permissions(), fs::perms::owner_all);
  ASSERT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
  EXPECT_EQ(fs::status(folder("cache")).permissions(), fs::perms::owner_all);
  QVRamDiskDevice::Infos infos;
  EXPECT_FALSE(QVRamDiskDevice::getExtentedRamDiskInfos(infos, folder("cache")));
}

TEST_F(ActionsTest, BackupModesKeepWhatTheirFolderIsFor) {
  for (const auto mode : {QVRamDiskBackupMode_AppSupport, QVRamDiskBackupMode_Directory}) {
    SCOPED_TRACE(mode);
    const auto disk = mountedDisk(mode);
    EXPECT_FALSE(fs::exists(folder("cache") + "/old")) << "the volume hides the directory";
    scratch.file("home/desk/cache/new", "new");
    scratch.file("home/desk/cache/.Trash/never", "never");
    EXPECT_EQ(perform(QVRamDiskActionBackup, disk), nullptr);
    EXPECT_EQ(readFile(backupOf(disk) + "/new"), "new");
    EXPECT_FALSE(fs::exists(backupOf(disk) + "/.Trash"));
    scratch.file("home/desk/cache/new", "newer");
    EXPECT_EQ(perform(QVRamDiskActionRebuild, disk), nullptr);
    EXPECT_EQ(readFile(folder("cache") + "/new"), "newer");
    EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
    EXPECT_EQ(readFile(folder("cache") + "/old"), "old")
        << "the directory itself was never touched";
    EXPECT_FALSE(fs::exists(backupOf(disk) + ".previous"));
    disk->deleteBackupDirs();
    EXPECT_EQ(fs::exists(backupOf(disk)), mode == QVRamDiskBackupMode_Directory);
    fs::remove_all(folder("cache"));
  }
}

TEST_F(ActionsTest, WithoutABackupNothingIsKept) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  EXPECT_EQ(disk->hasContents(), 0);
  scratch.file("home/desk/cache/gone", "gone");
  EXPECT_EQ(perform(QVRamDiskActionBackup, disk), nullptr);
  EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
  EXPECT_FALSE(fs::exists(folder("cache"))) << "a plain disk's own mount directory goes with it";
}

TEST_F(ActionsTest, AnUnmountedDeviceKeepsItsContentsForARemount) {
  const auto disk = mountedDisk(QVRamDiskBackupMode_Base);
  scratch.file("home/desk/cache/new", "new");
  ASSERT_EQ(umount2(folder("cache").c_str(), MNT_DETACH), 0);
  fs::remove_all(folder("cache"));
  EXPECT_TRUE(disk->update());
  EXPECT_EQ(disk->status(), QVRamDiskStatus_created);
  EXPECT_EQ(perform(QVRamDiskActionRemount, disk), nullptr);
  EXPECT_EQ(disk->status(), QVRamDiskStatus_mounted);
  EXPECT_EQ(readFile(folder("cache") + "/new"), "new");
  const Reports all = recorder->reports();
  EXPECT_EQ(Reports(all.end() - 2, all.end()), (Reports{"4/11", "0/11"}));
}

// After a crash another device has the node that the record remembers.
TEST_F(ActionsTest, ADeviceThatIsNotTheDisksOwnIsNotRemounted) {
  const auto disk = mountedDisk(QVRamDiskBackupMode_Base);
  TearDownDisks();
  disk->update();
  disk->setDeviceNode(freshDevice());
  EXPECT_EQ(reasonOf(perform(QVRamDiskActionRemount, disk)), "identifier");
  EXPECT_FALSE(isMounted(folder("cache")));
  EXPECT_EQ(disk->deviceNode(), std::nullopt);
}

TEST_F(ActionsTest, CleaningUpSparesWhatTheVolumeKeepsForItself) {
  const auto disk = mountedDisk(QVRamDiskBackupMode_None);
  for (const char* item :
       {"a", "folder/b", ".hidden", ".Trash/kept", ".fseventsd/kept", ".DS_Store"})
    scratch.file("home/desk/cache/" + std::string(item));
  disk->performAction(QVRamDiskActionCleanUpFiles, recorder, 1);
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(folder("cache")))
    left.push_back(entry.path().filename());
  std::sort(left.begin(), left.end());
  EXPECT_EQ(left, (Reports{".Trash", ".fseventsd"}));
  EXPECT_EQ(disk->action(), QVRamDiskActionNone);
}

TEST_F(ActionsTest, CleaningUpReportsFoldersItMustNotBeAimedAt) {
  const auto disk = QVRamDisk::init();
  disk->performCleanUpFiles();
  EXPECT_EQ(log->count("dirPath==nil"), 1U);
  EXPECT_EQ(log->count("contents==nil error:"), 1U);
  disk->setPath(home);
  disk->performCleanUpFiles();
  EXPECT_EQ(log->count("dirPath:" + home), 1U);
  EXPECT_TRUE(fs::exists(work));
  EXPECT_EQ(alerts->shown.size(), 2U);
}

struct EjectRow {
  const char* title;
  QVRamDiskBackupMode mode;
  std::string verb;
  int nth;
  std::string reason;  // of the eject's error, empty for none
  std::string logged;
  bool mounted;  // afterwards
  bool attached;
};

TEST_F(ActionsTest, AnEjectThatFailsLosesNothing) {
  const auto tool = [](Tool which) { return FaultyPlaces::verb(which); };
  const std::vector<EjectRow> rows = {
      {"setting the last generation aside", QVRamDiskBackupMode_Base, "move", 1,
       "moveItemAtPath:", "backupRamDiskAtPath path:", true, true},
      {"marking", QVRamDiskBackupMode_Base, "createDirectories", 3,
       "createDirectoryAtPath:", "backupRamDiskAtPath path:", true, true},
      {"making the folder", QVRamDiskBackupMode_Base, "createDirectories", 4,
       "createDirectoryAtPath:", "backupRamDiskAtPath path:", true, true},
      {"listing the volume", QVRamDiskBackupMode_Base, "names", 1,
       "contentsOfDirectoryAtPath:", "backupRamDiskAtPath path:", true, true},
      {"a backup", QVRamDiskBackupMode_AppSupport, "names", 1, "contentsOfDirectoryAtPath:", "",
       true, true},
      {"unmounting", QVRamDiskBackupMode_Base, tool(Tool::Unmounter), 1, "executeCommand==NO", "",
       true, true},
      {"detaching", QVRamDiskBackupMode_Base, tool(Tool::Attacher), 1, "executeCommand==NO", "",
       false, true},
      {"flushing", QVRamDiskBackupMode_Base, "flush", 1, "flush", "backupRamDiskAtPath path:", true,
       true},
      {"unmarking", QVRamDiskBackupMode_Base, "remove", 1, "flush",
       "backupRamDiskAtPath path:", true, true},
      {"flushing the mark", QVRamDiskBackupMode_AppSupport, "flushNames", 1,
       "createDirectoryAtPath:", "", true, true},
      {"flushing the names", QVRamDiskBackupMode_AppSupport, "flushNames", 2, "flush", "", true,
       true},
      {"putting the base back", QVRamDiskBackupMode_Base, "exchange", 1, "",
       "moveItemAtPath==NO mountPoint:", false, false},
  };
  for (const EjectRow& row : rows) {
    SCOPED_TRACE(row.title);
    const auto disk = mountedDisk(row.mode);
    scratch.file("home/desk/cache/new", "new");
    if (row.mode == QVRamDiskBackupMode_Base)
      scratch.directory("home/desk/cache (Tarnvale Backup Base).previous");
    else
      fs::create_directories(backupOf(disk));
    letTimePass();
    log->clear();
    faults->fail(row.verb, row.nth);
    const auto error = perform(QVRamDiskActionEject, disk);
    EXPECT_EQ(faults->hits(), 1) << "the fault never struck";
    faults->clear();
    EXPECT_EQ(reasonOf(error), row.reason);
    EXPECT_EQ(log->count(row.logged), row.logged.empty() ? log->entries().size() : 1U);
    EXPECT_EQ(isMounted(folder("cache")), row.mounted);
    EXPECT_EQ(disk->status() == QVRamDiskStatus_mounted, row.mounted);
    EXPECT_EQ(deviceCount(), row.attached ? 1U : 0U);
    if (row.mounted) {
      EXPECT_EQ(readFile(folder("cache") + "/new"), "new");
      scratch.file("home/desk/cache/more", "more");
      EXPECT_EQ(readFile(folder("cache") + "/more"), "more") << "it can be written again";
      EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr) << "the second try succeeds";
    } else if (row.mode == QVRamDiskBackupMode_Base) {
      EXPECT_EQ(readFile(savedBase("cache") + "/new"), "new");
      EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr) << "the base is taken up again";
      EXPECT_EQ(readFile(folder("cache") + "/new"), "new");
      perform(QVRamDiskActionEject, disk);
    }
    const std::string kept =
        row.mode == QVRamDiskBackupMode_Base ? folder("cache") : backupOf(disk);
    EXPECT_EQ(readFile(kept + "/new"), "new");
    TearDownDisks();
  }
}

// What is written between the save and the unmounting is saved too, by whom it may be: one who has
// the file open still, or one who has closed it in time.
TEST_F(ActionsTest, LateWritersLoseNothing) {
  for (const bool holdsOn : {true, false}) {
    SCOPED_TRACE(holdsOn);
    const auto disk = mountedDisk(QVRamDiskBackupMode_Base);
    scratch.file("home/desk/cache/deleted late", "");
    int late = -1;
    recorder->onReport = [&](QVRamDisk& reporting) {
      if (reporting.lastActionInfo() != QVRamDiskActionInfo_ejecting || reporting.action() == 0)
        return;
      EXPECT_EQ(readFile(savedBase("cache") + "/old"), "old") << "the first save is over";
      late = open((folder("cache") + "/late").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
      EXPECT_EQ(write(late, "late", 4), 4);
      if (!holdsOn) close(late);
      fs::remove(folder("cache") + "/deleted late");
    };
    letTimePass();
    EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
    recorder->onReport = nullptr;
    if (holdsOn) close(late);
    EXPECT_EQ(log->count("reason:setWritable") > 0, holdsOn);
    EXPECT_EQ(readFile(folder("cache") + "/late"), "late");
    EXPECT_FALSE(fs::exists(folder("cache") + "/deleted late"));
    log->clear();
    TearDownDisks();
  }
}

// Small files take more room on the volume than they measure: a page each, and there are 31,250.
TEST_F(ActionsTest, ABaseThatDoesNotFitComesBackWhole) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_Base);
  constexpr int kFiles = 32'000;
  for (int i = 0; i < kFiles; ++i)
    scratch.file("home/desk/cache/" + std::to_string(i % 40) + "/" + std::to_string(i), "tiny");
  ASSERT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  EXPECT_EQ(log->count("entries could not be brought into"), 1U);
  fs::remove_all(folder("cache") + "/7");  // deleted on purpose, so not taken over
  ASSERT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
  int kept = 0;
  for (int i = 0; i < kFiles; ++i)
    kept += readFile(folder("cache") + "/" + std::to_string(i % 40) + "/" + std::to_string(i)) ==
            "tiny";
  EXPECT_EQ(kept, kFiles - kFiles / 40);
}

TEST_F(ActionsTest, FilesWrittenUnderTheVolumeAreKeptBesideTheBase) {
  const auto disk = mountedDisk(QVRamDiskBackupMode_Base);
  recorder->onReport = [&](QVRamDisk& reporting) {
    if (reporting.lastActionInfo() != QVRamDiskActionInfo_ejecting || reporting.action() == 0)
      return;
    umount2(folder("cache").c_str(), MNT_DETACH);
    scratch.file("home/desk/cache/under", "under");
    QVErrorPtr error;
    reporting.setPath(std::nullopt);
  };
  EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
  EXPECT_EQ(readFile(folder("cache") + "/old"), "old");
  EXPECT_EQ(readFile(folder("cache") + " rescued/under"), "under");
}

TEST_F(ActionsTest, ARebuildWhoseEjectFailsDoesNotCreate) {
  const auto disk = mountedDisk(QVRamDiskBackupMode_Base);
  const std::string node = disk->deviceNode().value_or("");
  faults->fail(FaultyPlaces::verb(Tool::Unmounter));
  EXPECT_EQ(reasonOf(perform(QVRamDiskActionRebuild, disk)), "executeCommand==NO");
  EXPECT_EQ(disk->deviceNode(), node);
  EXPECT_EQ(disk->status(), QVRamDiskStatus_mounted);
  letTimePass();
  faults->fail(FaultyPlaces::verb(Tool::Mounter), 2);  // the first one holds writers off
  EXPECT_EQ(reasonOf(perform(QVRamDiskActionRebuild, disk)), "mountDeviceNode");
  EXPECT_EQ(log->count("icreateWithDelegate==NO"), 1U);
  const Reports all = recorder->reports();
  EXPECT_EQ(all.back(), "0/0!");
  EXPECT_EQ(readFile(folder("cache") + "/old"), "old");
}

TEST_F(ActionsTest, ASecondActionIsReportedAndStartedAllTheSame) {
  const auto disk = mountedDisk(QVRamDiskBackupMode_None);
  disk->setAction(QVRamDiskActionBackup);
  disk->performAction(QVRamDiskActionEject, recorder, 0);
  EXPECT_EQ(log->count("An other action is running:3"), 1U);
  EXPECT_EQ(alerts->shown.size(), 1U);
  EXPECT_EQ(deviceCount(), 0U);
}

// Be it of this program for another record of the disk.
TEST_F(ActionsTest, TwoRecordsOfADiskDoNotActAtOnce) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  recorder->onReport = [&](QVRamDisk& acting) {
    if (acting.action() == QVRamDiskActionNone) return;
    EXPECT_TRUE(ActionLock::isTaken(disk->identifier()));
    EXPECT_FALSE(ActionLock::takeIfFree(disk->identifier()));
  };
  EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  recorder->onReport = nullptr;
  std::optional<ActionLock> theirs = lockOf(disk);
  loop->slept = loop->slept * 0;
  EXPECT_EQ(perform(QVRamDiskActionEject, disk)->code(), QVErrorCode::Locked);
  EXPECT_EQ(loop->slept, ActionLock::kPatience);
  EXPECT_TRUE(isMounted(folder("cache")));
  loop->onSleep = [&] { theirs.reset(); };
  EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr) << "it waits for the end of the other";
  EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  const auto mine = lockOf(disk);
  disk->performAction(QVRamDiskActionEject, recorder, 1, mine);
  recorder->waitForEnd();
  EXPECT_EQ(disk->lastError(), nullptr) << "who holds the lock hands it on";
  EXPECT_FALSE(isMounted(folder("cache")));
  EXPECT_TRUE(ActionLock::isTaken(disk->identifier())) << "and keeps it";
}

TEST_F(ActionsTest, ActionsRunWhereTheirKindSays) {
  const auto caller = std::this_thread::get_id();
  std::thread::id ran;
  recorder->onReport = [&](QVRamDisk&) { ran = std::this_thread::get_id(); };
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  const std::pair<QVRamDiskAction, std::pair<std::int64_t, bool>> rows[] = {
      {QVRamDiskActionCreate, {0, true}},   {QVRamDiskActionCreate, {1, false}},
      {QVRamDiskActionCreate, {2, true}},   {QVRamDiskActionSyncWithBase, {0, false}},
      {QVRamDiskActionBackup, {0, false}},  {QVRamDiskActionRemount, {0, true}},
      {QVRamDiskActionRemount, {1, false}}, {QVRamDiskActionEject, {0, true}},
      {QVRamDiskActionEject, {1, false}},   {QVRamDiskActionRebuild, {0, false}},
  };
  disk->setSize(1);  // refused at once, wherever it runs
  for (const auto& [action, expected] : rows) {
    ran = {};
    disk->performAction(action, recorder, expected.first);
    recorder->waitForEnd();
    EXPECT_EQ(ran == caller, expected.second) << action << " flag " << expected.first;
  }
  disk->performAction(static_cast<QVRamDiskAction>(8), recorder, 0);
}

TEST_F(ActionsTest, WithoutAThreadToHaveTheCallerDoesTheWork) {
  const NoThreads none;
  const auto caller = std::this_thread::get_id();
  recorder->onReport = [&](QVRamDisk&) { EXPECT_EQ(std::this_thread::get_id(), caller); };
  const auto disk = diskOver("cache", QVRamDiskBackupMode_Base);
  for (const auto action : {QVRamDiskActionCreate, QVRamDiskActionSyncWithBase,
                            QVRamDiskActionRebuild, QVRamDiskActionEject}) {
    if (action == QVRamDiskActionSyncWithBase) scratch.file("home/desk/cache/new", "new");
    disk->performAction(action, recorder, 1);
    recorder->waitForEnd();
    EXPECT_EQ(disk->lastError(), nullptr) << action;
  }
  EXPECT_EQ(log->count("thread==nil"), 4U);
  EXPECT_EQ(readFile(folder("cache") + "/new"), "new");
  EXPECT_TRUE(ActionLock::takeIfFree(disk->identifier()));
}

}  // namespace
