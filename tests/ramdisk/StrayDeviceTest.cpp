#include <sys/mount.h>

#include <filesystem>

#include "device/QVRamDiskDevice.h"
#include "kinds/QVRamDiskManager.h"
#include "ramdisk/StrayDevice.h"
#include "ramdisk/VolumeNotes.h"
#include "tests/support/EngineTest.h"

namespace {

namespace fs = std::filesystem;
using platform::Tool;
using Steps = std::vector<RecoveryStep>;

class StrayDeviceTest : public EngineTest {
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
  static Steps recover(const QVRamDiskPtr& disk) {
    const auto told = findCutOffActions(disk);
    QVErrorPtr error;
    const auto done = recoverCutOffActions(disk, error);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(told.size(), done.size());
    Steps steps;
    for (const auto& finding : done) steps.push_back(finding.step);
    return steps;
  }
  static std::string locks() { return *QVRamDiskManager::appSupportPath() + "/Locks"; }
  static std::string beside(const QVRamDiskPtr& disk, const char* extension) {
    return *QVRamDiskManager::appSupportPath() + "/" + disk->identifier().value_or("") + extension;
  }
};

TEST_F(StrayDeviceTest, ADeviceThatWasNeverUsedIsGivenBack) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  leaveDeviceOf(disk);
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::GiveBack});
  EXPECT_EQ(deviceCount(), 0U);
  EXPECT_EQ(recover(disk), Steps{});
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
    EXPECT_EQ(recover(disk), Steps{}) << "it is mounted";
    ASSERT_EQ(QVRamDiskDevice::unmount(place), nullptr);
    EXPECT_EQ(recover(disk), Steps{RecoveryStep::GiveBack});
    EXPECT_EQ(log->count("is not known to be empty and stays"), labelled ? 1U : 2U);
    ASSERT_EQ(QVRamDiskDevice::mountAsItIs(node, place), nullptr);
    EXPECT_EQ(readFile(place + "/file"), labelled ? "" : "kept");
    EXPECT_EQ(recover(disk), Steps{}) << "it is not asked about again";
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
    EXPECT_EQ(recover(disk), Steps{RecoveryStep::GiveBack});
    EXPECT_EQ(deviceCount(), 1U);
  }
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::GiveBack});
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
  recoverCutOffActions(disk, error);
  EXPECT_NE(error, nullptr);
  places->replacements.clear();
  disk->setDeviceNode(std::nullopt);
  EXPECT_EQ(recover(disk), (Steps{RecoveryStep::GiveBack, RecoveryStep::PutBack}));
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
  EXPECT_EQ(recover(disk), Steps{RecoveryStep::GiveBack});
  EXPECT_EQ(deviceCount(), 0U);
}

}  // namespace
