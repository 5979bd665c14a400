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
#include "system/ExtendedAttributes.h"
#include "tests/support/EngineTest.h"

namespace {

namespace fs = std::filesystem;
using platform::Tool;
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
    const Steps done = stepsOf(recoverCutOffActions(disk, lockOf(disk), error));
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
  // What an incomplete save left may be the only copy as well.
  scratch.file("home/desk/cache (Tarnvale Backup Base).previous/base", "older");
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::KeepRescued});
  EXPECT_EQ(readFile(savedBase("cache") + ".previous rescued/base"), "older");
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
  ASSERT_EQ(QVRamDiskDevice::setWritable(disk->deviceNode(), disk->path(), false), nullptr);
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::Adopt}) << "an eject held it read-only";
  scratch.file("home/desk/cache/more", "more");
  EXPECT_EQ(perform(QVRamDiskActionEject, disk), nullptr);
  EXPECT_EQ(inFolder("new") + inFolder("more"), "newmore");
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

// A disk whose contents are not kept waits to be mounted again; until it is, what lies aside for
// its place stays there.
TEST_F(RecoveryTest, NothingIsPutBackWhileADeviceWaits) {
  const auto disk = mounted(QVRamDiskBackupMode_None);
  ASSERT_EQ(umount2(folder("cache").c_str(), MNT_DETACH), 0);
  disk->update();
  fs::remove_all(folder("cache"));
  scratch.file("home/desk/cache (Tarnvale Backup Base)/base", "base");
  EXPECT_EQ(recover(disk), Steps{});
  EXPECT_EQ(readFile(savedBase("cache") + "/base"), "base");
  ASSERT_EQ(perform(QVRamDiskActionRemount, disk), nullptr);
  EXPECT_EQ(inFolder("new"), "new");
  losePower(disk);
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::PutBack});
}

TEST_F(RecoveryTest, ADeviceOfSomebodyElseIsLeftAlone) {
  const auto disk = mounted();
  losePower(disk);
  const std::string other = freshDevice();
  disk->setDeviceNode(other);
  QVErrorPtr error;
  const auto found = stepsOf(recoverCutOffActions(disk, lockOf(disk), error));
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
  EXPECT_EQ(reasonOf(ActionLock::take(disk->identifier()).error()), "lock");
  EXPECT_EQ(stepsOf(findCutOffActions(disk)), Steps{});
  EXPECT_EQ(reasonOf(perform(QVRamDiskActionCreate, disk)), "lock");
  EXPECT_EQ(deviceCount(), 0U);
  close(held);
  EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
}

TEST_F(RecoveryTest, AFailureEndsItAndTheNextOneGoesOn) {
  const auto disk = mounted();
  losePower(disk);
  faults->fail("exchange");
  QVErrorPtr error;
  recoverCutOffActions(disk, lockOf(disk), error);
  EXPECT_EQ(reasonOf(error), "recover");
  faults->clear();
  EXPECT_EQ(readFile(savedBase("cache") + "/old"), "old");
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::PutBack});
}

// --- A device that was attached and never used

class StrayDeviceTest : public RecoveryTest {
 protected:
  // A creation ends behind its attaching, and nothing is detached: as if it had been killed there.
  void leaveDeviceOf(const QVRamDiskPtr& disk) {
    replaceTool(Tool::Formatter, "exit 3");
    replaceTool(Tool::Attacher, "[ \"$1\" != detach ] || exit 3; exec '" +
                                    places->realTool(Tool::Attacher) + "' \"$@\"");
    EXPECT_NE(perform(QVRamDiskActionCreate, disk), nullptr);
    places->replacements.clear();
    ASSERT_EQ(deviceCount(), 1U);
  }
  // What is told is done, and may be told again.
  Steps giveBack(const QVRamDiskPtr& disk) {
    const Steps told = stepsOf(findCutOffActions(disk));
    QVErrorPtr error;
    const Steps done = stepsOf(recoverCutOffActions(disk, lockOf(disk), error));
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(told, done);
    return done;
  }
  static std::string locks() { return *QVRamDiskManager::appSupportPath() + "/Locks"; }
  static std::string beside(const QVRamDiskPtr& disk, const char* extension) {
    return *QVRamDiskManager::appSupportPath() + "/" + disk->identifier().value_or("") + extension;
  }
};

TEST_F(StrayDeviceTest, ADeviceThatWasNeverUsedIsGivenBack) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  leaveDeviceOf(disk);
  EXPECT_EQ(giveBack(disk), Steps{RecoveryStep::GiveBack});
  EXPECT_EQ(deviceCount(), 0U);
  EXPECT_EQ(giveBack(disk), Steps{});
  EXPECT_FALSE(fs::exists(beside(disk, ".TarnvaleVolume")));

  leaveDeviceOf(disk);
  EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  EXPECT_EQ(deviceCount(), 1U) << "the next creation does it too";
  EXPECT_FALSE(fs::exists(beside(disk, ".TarnvaleDevice")))
      << "a volume that is mounted and labelled is no stray";
}

// The node may be another device's by now, whatever the note says.
TEST_F(StrayDeviceTest, WhatHoldsAnythingStays) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  for (const bool labelled : {true, false}) {
    SCOPED_TRACE(labelled);
    const auto node = freshDevice();
    const std::string place = scratch.directory("home/desk/other");
    ASSERT_EQ(QVRamDiskDevice::mountAsItIs(node, place), nullptr);
    if (labelled) {
      EXPECT_TRUE(QVRamDiskDevice::setExtendedRamDiskInfos({{"identifier", "other"}}, place));
    } else {
      scratch.file("home/desk/other/file", "kept");
    }
    noteAttachedDevice(disk->identifier(), node);
    EXPECT_EQ(giveBack(disk), Steps{}) << "it is mounted";
    ASSERT_EQ(QVRamDiskDevice::unmount(place), nullptr);
    EXPECT_EQ(giveBack(disk), Steps{RecoveryStep::GiveBack});
    EXPECT_EQ(log->count("is not known to be empty and stays"), labelled ? 1U : 2U);
    ASSERT_EQ(QVRamDiskDevice::mountAsItIs(node, place), nullptr);
    EXPECT_EQ(readFile(place + "/file"), labelled ? "" : "kept");
    EXPECT_EQ(giveBack(disk), Steps{}) << "it is not asked about again";
    TearDownDisks();
  }
}

// Which may be just between attaching a device and mounting it.
TEST_F(StrayDeviceTest, NothingIsGivenBackWhileAnActionRuns) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  leaveDeviceOf(disk);
  {
    const auto theirs = platform::services().files->lock(locks() + "/another");
    ASSERT_TRUE(theirs);
    EXPECT_EQ(giveBack(disk), Steps{RecoveryStep::GiveBack});
    EXPECT_EQ(deviceCount(), 1U);
  }
  EXPECT_EQ(giveBack(disk), Steps{RecoveryStep::GiveBack});
  EXPECT_EQ(deviceCount(), 0U);
}

// The recovery of a creation may be cut off in its turn, between unmounting and detaching.
TEST_F(StrayDeviceTest, AnUndoneCreationIsUndoneToTheEnd) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_Base);
  scratch.file("home/desk/cache/old", "old");
  ASSERT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  ASSERT_TRUE(noteRefillBegun(folder("cache")));
  replaceTool(Tool::Attacher, "[ \"$1\" != detach ] || exit 3; exec '" +
                                  places->realTool(Tool::Attacher) + "' \"$@\"");
  QVErrorPtr error;
  recoverCutOffActions(disk, lockOf(disk), error);
  EXPECT_NE(error, nullptr);
  places->replacements.clear();
  disk->setDeviceNode(std::nullopt);
  EXPECT_EQ(giveBack(disk), (Steps{RecoveryStep::GiveBack, RecoveryStep::PutBack}));
  EXPECT_EQ(deviceCount(), 0U);
  EXPECT_EQ(readFile(folder("cache") + "/old"), "old");
}

// A look at it was cut off as well.
TEST_F(StrayDeviceTest, ADeviceThatIsStillMountedForTheLookGoes) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  leaveDeviceOf(disk);
  QVErrorPtr error;
  const auto node = QVRamDiskDevice::deviceList(false, error)->front().devNode;
  ASSERT_EQ(QVRamDiskDevice::mountAsItIs(node, beside(disk, ".TarnvaleVolume")), nullptr);
  EXPECT_EQ(giveBack(disk), Steps{RecoveryStep::GiveBack});
  EXPECT_EQ(deviceCount(), 0U);
}

}  // namespace
