#include <sys/mount.h>

#include <filesystem>

#include "device/QVRamDiskDevice.h"
#include "kinds/QVRamDiskManager.h"
#include "tests/support/EngineTest.h"

namespace {

namespace fs = std::filesystem;

// A record that still says that its disk is mounted, while another program has seen to it that
// something else is at its place.
class VolumeGoneTest : public EngineTest {
 protected:
  using Mode = QVRamDiskBackupMode;

  // The one save that there is holds "saved", the volume "newer".
  QVRamDiskPtr savedDisk(Mode mode) {
    auto disk = diskOver("cache", mode);
    EXPECT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
    scratch.file("home/desk/cache/file", "saved");
    EXPECT_EQ(perform(savingAction(mode), disk), nullptr);
    scratch.file("home/desk/cache/file", "newer");
    return disk;
  }
  static QVRamDiskAction savingAction(Mode mode) {
    return mode == QVRamDiskBackupMode_Base ? QVRamDiskActionSyncWithBase : QVRamDiskActionBackup;
  }
  std::string lastSave(const QVRamDisk& disk) const {
    return disk.backupDirPath().value_or(savedBase("cache"));
  }
  void expectRefused(QVRamDiskAction action, const QVRamDiskPtr& disk) {
    SCOPED_TRACE(action);
    disk->setStatus(QVRamDiskStatus_mounted);
    disk->setPath(folder("cache"));
    const auto error = perform(action, disk);
    ASSERT_NE(error, nullptr);
    if (action != QVRamDiskActionEject) {
      EXPECT_EQ(messageOf(error), refusal());
    }
    EXPECT_NE(disk->status(), QVRamDiskStatus_mounted);
    EXPECT_EQ(disk->action(), QVRamDiskActionNone);
    EXPECT_EQ(readFile(folder("cache") + "/own"), "own");
    EXPECT_EQ(readFile(lastSave(*disk) + "/file"), "saved");
    EXPECT_FALSE(fs::exists(lastSave(*disk) + "/own"));
  }
  std::string refusal() const {
    return "The RamDisk cache is no longer mounted at " + folder("cache") +
           ", so nothing was saved or deleted. Create or mount it again first.";
  }
  void unmount() {
    EXPECT_EQ(umount2(folder("cache").c_str(), 0), 0);
    fs::create_directories(folder("cache"));
  }
  void putAnotherVolumeThere() {
    unmount();
    EXPECT_EQ(mount("another", folder("cache").c_str(), "tmpfs", 0, nullptr), 0);
  }
};

TEST_F(VolumeGoneTest, NothingIsSavedOrDeletedThere) {
  const std::pair<const char*, std::function<void()>> ways[] = {
      {"the user's own directory", [this] { unmount(); }},
      {"a volume of another program", [this] { putAnotherVolumeThere(); }},
      {"another RAM disk",
       [this] {
         putAnotherVolumeThere();
         QVRamDiskDevice::setExtendedRamDiskInfos(
             {{"identifier", "another"}, {"deviceNode", "/dev/disk99"}}, folder("cache"));
       }},
  };
  for (const auto& [title, happens] : ways) {
    for (const auto mode : {QVRamDiskBackupMode_Base, QVRamDiskBackupMode_AppSupport}) {
      SCOPED_TRACE(title);
      const auto disk = savedDisk(mode);
      happens();
      scratch.file("home/desk/cache/own", "own");
      for (const auto action :
           {savingAction(mode), QVRamDiskActionCleanUpFiles, QVRamDiskActionEject})
        expectRefused(action, disk);
      umount2(folder("cache").c_str(), MNT_DETACH);
      TearDownDisks();
    }
  }
}

// What is unmounted keeps its contents, and so does what was last saved.
TEST_F(VolumeGoneTest, AMissingFolderIsNotAnEmptyDisk) {
  const auto disk = savedDisk(QVRamDiskBackupMode_Base);
  unmount();
  fs::remove(folder("cache"));
  disk->performCleanUpFiles();
  EXPECT_EQ(log->count("reason:volume"), 1U);
  EXPECT_EQ(readFile(savedBase("cache") + "/file"), "saved");
  EXPECT_EQ(perform(QVRamDiskActionSyncWithBase, disk), nullptr) << "it is mounted again for that";
  EXPECT_EQ(readFile(savedBase("cache") + "/file"), "newer");
  EXPECT_EQ(disk->status(), QVRamDiskStatus_mounted);
  EXPECT_EQ(readFile(folder("cache") + "/file"), "newer");
  EXPECT_EQ(perform(QVRamDiskActionSyncWithBase, disk), nullptr);
  EXPECT_EQ(readFile(savedBase("cache") + "/file"), "newer");
}

TEST_F(VolumeGoneTest, WhatAnotherProgramWorksOnIsNotDeleted) {
  const auto disk = savedDisk(QVRamDiskBackupMode_None);
  const std::string lock =
      *QVRamDiskManager::appSupportPath() + "/Locks/" + disk->identifier().value_or("");
  auto theirs = platform::services().files->lock(lock);
  while (!theirs) theirs = platform::services().files->lock(lock);  // the save gives it back
  EXPECT_EQ(reasonOf(perform(QVRamDiskActionCleanUpFiles, disk)), "lock");
  EXPECT_EQ(readFile(folder("cache") + "/file"), "newer");
}

}  // namespace
