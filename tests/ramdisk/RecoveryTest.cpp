#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "device/QVRamDiskDevice.h"
#include "kinds/QVRamDiskManager.h"
#include "ramdisk/Generation.h"
#include "ramdisk/Recovery.h"
#include "ramdisk/VolumeNotes.h"
#include "system/ExtendedAttributes.h"
#include "tests/support/EngineTest.h"

namespace {

namespace fs = std::filesystem;
using Steps = std::vector<RecoveryStep>;

class RecoveryTest : public EngineTest {
 protected:
  // A mounted disk over home/desk/cache with one file from its base and one of its own.
  QVRamDiskPtr mounted(QVRamDiskBackupMode mode = QVRamDiskBackupMode_Base) {
    auto disk = diskOver("cache", mode);
    scratch.file("home/desk/cache/old", "old");
    EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
    scratch.file("home/desk/cache/new", "new");
    return disk;
  }

  // The power goes: every volume with it, and what programs knew.
  void losePower(const QVRamDiskPtr& disk) {
    QVErrorPtr error;
    const auto devices = QVRamDiskDevice::deviceList(false, error);
    ASSERT_TRUE(devices);
    for (const auto& device : *devices)
      QVRamDiskDevice::ejectRamDiskDeviceNode(device.devNode, device.mountPoint, false);
    forget(disk);
  }
  void forget(const QVRamDiskPtr& disk) {
    disk->setPath(std::nullopt);
    disk->setDeviceNode(std::nullopt);
    disk->setStatus(QVRamDiskStatus_notCreated);
  }

  // Every path below the home with its contents.
  std::string picture() {
    std::string text;
    for (const auto& entry : fs::recursive_directory_iterator(home))
      text += entry.path().string() + "|" +
              (entry.is_regular_file() ? readFile(entry.path()) : "") + "\n";
    return text;
  }

  static Steps stepsOf(const std::vector<RecoveryFinding>& findings) {
    Steps steps;
    for (const auto& finding : findings) steps.push_back(finding.step);
    return steps;
  }

  // Finds and does, and holds what was found against what was said before.
  Steps recover(const QVRamDiskPtr& disk) {
    QVRamDiskManager::appSupportPath();  // makes the folder
    const std::string before = picture();
    const Steps told = stepsOf(findCutOffActions(disk));
    EXPECT_EQ(picture(), before) << "telling changed something";
    QVErrorPtr error;
    const Steps done = stepsOf(recoverCutOffActions(disk, error));
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(told, done);
    EXPECT_EQ(stepsOf(findCutOffActions(disk)), Steps{});
    return done;
  }
  std::string inFolder(const std::string& name) { return readFile(folder("cache") + "/" + name); }
};

TEST_F(RecoveryTest, ABaseThatIsStillSetAsideGoesBack) {
  const auto disk = mounted();
  EXPECT_EQ(recover(disk), Steps{});
  losePower(disk);
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::PutBack});
  EXPECT_EQ(inFolder("old"), "old");
  EXPECT_FALSE(fs::exists(savedBase("cache")));
  EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  losePower(disk);
  fs::remove_all(folder("cache"));
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::PutBack});
  EXPECT_EQ(inFolder("old"), "old");
}

TEST_F(RecoveryTest, OfTwoGenerationsTheWholeOneGoesBack) {
  const auto disk = mounted();
  const Generation base(savedBase("cache"));
  losePower(disk);
  fs::rename(base.folder(), base.previous());
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::PutBack});
  EXPECT_EQ(inFolder("old"), "old");

  fs::rename(folder("cache"), base.previous());
  scratch.file("home/desk/cache (Tarnvale Backup Base)/sub/torn", "to");
  for (const char* name : {"/old", "/sub/only shared"}) {
    fs::create_directories(base.previous() + "/sub");
    std::ofstream(base.previous() + name) << "old";
    fs::create_hard_link(base.previous() + name, base.folder() + name);
  }
  ASSERT_TRUE(base.mark());
  EXPECT_EQ(recover(disk), (Steps{RecoveryStep::KeepRescued, RecoveryStep::DropUnfinished,
                                  RecoveryStep::PutBack}));
  EXPECT_EQ(inFolder("old"), "old");
  EXPECT_EQ(readFile(savedBase("cache") + " rescued/sub/torn"), "to");
  EXPECT_FALSE(fs::exists(savedBase("cache") + " rescued/old")) << "it is in its place";
  EXPECT_EQ(inFolder("sub/only shared"), "old");
  EXPECT_FALSE(base.isMarked());
}

TEST_F(RecoveryTest, FilesOnBothSidesAreBothKept) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_Base);
  scratch.file("home/desk/cache/mine", "mine");
  scratch.file("home/desk/cache (Tarnvale Backup Base)/base", "base");
  scratch.directory("home/desk/cache (Tarnvale Backup Base) rescued");
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::KeepRescued});
  EXPECT_EQ(inFolder("mine"), "mine");
  EXPECT_EQ(readFile(savedBase("cache") + " rescued 2/base"), "base");
  // What an incomplete save left beside a directory in its place is no crash.
  scratch.file("home/desk/cache (Tarnvale Backup Base).previous/base", "older");
  EXPECT_EQ(recover(disk), Steps{});
}

TEST_F(RecoveryTest, AVolumeThatWasNotFilledIsUndoneAndNeverSaved) {
  for (const bool labelled : {true, false}) {
    SCOPED_TRACE(labelled);
    const auto disk = mounted();
    fs::remove(folder("cache") + "/old");
    fs::remove(folder("cache") + "/new");
    ASSERT_TRUE(noteRefillBegun(folder("cache")));
    EXPECT_EQ(reasonOf(perform(QVRamDiskActionEject, disk)), "refillUnderWay");
    EXPECT_TRUE(isMounted(folder("cache")));
    if (!labelled) QVSetExtendedAttribute(std::nullopt, kRamDiskInfoAttributeName, folder("cache"));
    forget(disk);
    EXPECT_EQ(recover(disk), (Steps{RecoveryStep::UndoCreation, RecoveryStep::PutBack}));
    EXPECT_EQ(inFolder("old"), "old");
    EXPECT_EQ(deviceCount(), 0U);
    TearDownDisks();
  }
}

TEST_F(RecoveryTest, AVolumeThatOnlyTheRecordDoesNotKnowIsTakenUp) {
  const auto disk = mounted();
  const auto node = disk->deviceNode();
  forget(disk);
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::Adopt});
  EXPECT_EQ(disk->deviceNode(), node);
  EXPECT_EQ(disk->status(), QVRamDiskStatus_mounted);
  EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
  EXPECT_EQ(inFolder("new"), "new");
}

TEST_F(RecoveryTest, AVolumeThatAnEjectHeldReadOnlyCanBeWrittenAgain) {
  const auto disk = mounted();
  ASSERT_EQ(QVRamDiskDevice::setWritable(disk->deviceNode(), disk->path(), false), nullptr);
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::Adopt});
  scratch.file("home/desk/cache/more", "more");
  EXPECT_EQ(inFolder("more"), "more");
}

TEST_F(RecoveryTest, AnEjectThatWasCutOffIsFinished) {
  for (const auto mode : {QVRamDiskBackupMode_Base, QVRamDiskBackupMode_AppSupport}) {
    SCOPED_TRACE(mode);
    const auto disk = mounted(mode);
    ASSERT_EQ(umount2(folder("cache").c_str(), MNT_DETACH), 0);
    disk->setPath(std::nullopt);
    disk->update();
    EXPECT_EQ(recover(disk), Steps{RecoveryStep::FinishEject});
    EXPECT_EQ(deviceCount(), 0U);
    const std::string kept =
        mode == QVRamDiskBackupMode_Base ? folder("cache") : disk->backupDirPath().value_or("");
    EXPECT_EQ(readFile(kept + "/new"), "new");
    TearDownDisks();
  }
}

TEST_F(RecoveryTest, ADeviceOfSomebodyElseIsLeftAlone) {
  const auto disk = mounted();
  losePower(disk);
  const std::string other = freshDevice();
  disk->setDeviceNode(other);
  QVErrorPtr error;
  const auto found = stepsOf(recoverCutOffActions(disk, error));
  EXPECT_EQ(found, (Steps{RecoveryStep::FinishEject, RecoveryStep::PutBack}));
  EXPECT_EQ(deviceCount(), 1U);
  EXPECT_EQ(inFolder("old"), "old");
  EXPECT_EQ(disk->deviceNode(), std::nullopt);
}

TEST_F(RecoveryTest, BackupFoldersKeepTheirWholeGeneration) {
  const auto disk = mounted(QVRamDiskBackupMode_AppSupport);
  ASSERT_EQ(perform(QVRamDiskActionBackup, disk), nullptr);
  losePower(disk);
  const Generation backup(disk->backupDirPath().value_or(""));
  fs::rename(backup.folder(), backup.previous());
  fs::create_directory(backup.folder());
  ASSERT_TRUE(backup.mark());
  EXPECT_EQ(recover(disk), (Steps{RecoveryStep::DropUnfinished, RecoveryStep::PutBack}));
  EXPECT_EQ(readFile(backup.folder() + "/new"), "new");
  EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  EXPECT_EQ(inFolder("new"), "new");
}

// What another program does to a disk is waited out by nobody and disturbed by nobody.
TEST_F(RecoveryTest, ADiskThatAnotherProgramWorksOnIsLeftToIt) {
  const auto disk = mounted();
  losePower(disk);
  const std::string path =
      QVRamDiskManager::appSupportPath().value_or("") + "/Locks/" + disk->identifier().value_or("");
  const int held = open(path.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(held, LOCK_EX | LOCK_NB), 0);
  QVErrorPtr error;
  EXPECT_EQ(stepsOf(recoverCutOffActions(disk, error)), Steps{});
  EXPECT_EQ(reasonOf(error), "lock");
  EXPECT_EQ(reasonOf(perform(QVRamDiskActionCreate, disk)), "lock");
  EXPECT_EQ(deviceCount(), 0U);
  close(held);
  EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
}

TEST_F(RecoveryTest, AFailureEndsItAndTheNextOneGoesOn) {
  const auto disk = mounted();
  losePower(disk);
  for (const char* verb : {"remove", "move"}) {
    SCOPED_TRACE(verb);
    faults->fail(verb);
    QVErrorPtr error;
    recoverCutOffActions(disk, error);
    EXPECT_EQ(reasonOf(error), "recover");
    faults->clear();
    EXPECT_EQ(readFile(savedBase("cache") + "/old"), "old");
  }
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::PutBack});
}

}  // namespace
