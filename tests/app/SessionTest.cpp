#include <filesystem>

#include "tests/app/AppTest.h"

namespace {

namespace fs = std::filesystem;

class SessionTest : public AppTest {
 protected:
  // Mounted disks in every mode, "NAME/new" written on each.
  void mountAll() {
    mount(QVRamDiskBackupMode_Base, "base");
    mount(QVRamDiskBackupMode_Directory, "chosen");
    mount(QVRamDiskBackupMode_None, "none");
    list->writeRamDisksToDefaultLocation();
  }
  void mount(QVRamDiskBackupMode mode, const std::string& name) {
    const auto disk = diskOver(name, mode, list->addRamDisk());
    disk->setBackupDir(backups);
    list->create(disk, 0);
    scratch.file("home/desk/" + name + "/new", "new");
  }
  std::size_t generations() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(backups), {}));
  }
  std::string savedFile() { return readFile(savedBase("base") + "/new"); }
  void announceEnd() {
    sessionEnd->announce();
    loop->runUntil([&] { return !sessionEnd->held; });
  }

  std::shared_ptr<QVRamDiskEntries> list = QVRamDiskEntries::init();
  std::string backups = scratch.directory("home/backups");
  bool busy = false;
  app::SessionKeeper keeper{[this] { return busy; }};
};

TEST_F(SessionTest, TheEndIsHeldWhileThereIsSomethingToSave) {
  keeper.start();
  EXPECT_FALSE(sessionEnd->held.has_value());
  mount(QVRamDiskBackupMode_Base, "base");
  list->writeRamDisksToDefaultLocation();
  announceChange(kSenderHelper);
  EXPECT_FALSE(sessionEnd->held.has_value()) << "its own word brings no news";
  announceChange(kSenderApp);
  EXPECT_TRUE(sessionEnd->held.has_value());
  EXPECT_EQ(sessionEnd->held, "Saving the contents of the RAM disks");
  list->eject(list->ramDisks()[0], 0);
  mount(QVRamDiskBackupMode_None, "none");
  list->writeRamDisksToDefaultLocation();
  announceChange(kSenderApp);
  EXPECT_FALSE(sessionEnd->held.has_value()) << "there is a disk, but nothing of it is kept";
}

TEST_F(SessionTest, OnTheAnnouncementEachDiskIsSavedWhereItsSettingsSay) {
  mountAll();
  const auto file = [] { return readFile(RegistryFile::defaultPath().value_or("")); };
  const std::string before = file();
  keeper.start();
  ASSERT_TRUE(sessionEnd->held.has_value());
  announceEnd();
  EXPECT_EQ(savedFile(), "new");
  EXPECT_EQ(generations(), 1U);
  for (const char* name : {"base", "chosen", "none"}) EXPECT_TRUE(isMounted(folder(name)));
  EXPECT_EQ(file(), before);
  EXPECT_FALSE(keeper.hasLeftovers());
}

TEST_F(SessionTest, AFailedSaveIsToldAndHoldsNoLonger) {
  mountAll();
  keeper.start();
  faults->fail("createDirectories", 1, true);
  announceEnd();
  EXPECT_GT(faults->hits(), 0);
  EXPECT_EQ(log->count("base could not be saved"), 1U);
  EXPECT_EQ(log->count("chosen could not be saved"), 1U);
}

TEST_F(SessionTest, TheUsersSwitchIsObeyedAndOutlivesWhatOthersWrite) {
  mountAll();
  const auto theirs = reread();
  const auto ours = reread();
  ours->setSaveAtSessionEnd(false);
  ASSERT_TRUE(ours->writeRamDisksToDefaultLocation());
  theirs->ramDisks()[0]->setPreferWired(true);
  ASSERT_TRUE(theirs->writeRamDisksToDefaultLocation());
  keeper.start();
  EXPECT_FALSE(reread()->saveAtSessionEnd());
  EXPECT_FALSE(sessionEnd->held.has_value());
  sessionEnd->announce();
  keeper.saveAndWait();
  EXPECT_EQ(savedFile(), "");
}

TEST_F(SessionTest, ADiskThatIsBusyIsSavedAfterwards) {
  mountAll();
  keeper.startWith(list);  // as the menu's, whose actions run on it
  const auto disk = list->ramDisks()[0];
  disk->setAction(QVRamDiskActionBackup);
  int passes = 0;
  loop->onSleep = [&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    if (++passes == 20) disk->setAction(QVRamDiskActionNone);
  };
  keeper.saveAndWait();
  EXPECT_GE(passes, 20);
  EXPECT_EQ(savedFile(), "new");
  EXPECT_EQ(log->count("is busy"), 0U);
}

TEST_F(SessionTest, WhatIsBusyTooLongIsGivenUpAndTheOthersAreSaved) {
  mountAll();
  keeper.startWith(list);
  list->ramDisks()[0]->setAction(QVRamDiskActionBackup);
  loop->onSleep = [] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); };
  keeper.saveAndWait();
  EXPECT_EQ(loop->slept, std::chrono::seconds(30));
  EXPECT_EQ(log->count("base is busy and is not saved"), 1U);
  EXPECT_EQ(generations(), 1U);
  busy = true;  // and so is the making of disks at login
  loop->slept = {};
  list->ramDisks()[0]->setAction(QVRamDiskActionNone);
  keeper.saveAndWait();
  EXPECT_GE(loop->slept, std::chrono::seconds(29));
  EXPECT_EQ(savedFile(), "new");
}

// The reports reach the registry's delegate, and what changed during the save is read after it.
TEST_F(SessionTest, AChangeDuringTheSaveIsReadAfterIt) {
  mountAll();
  keeper.start();
  sessionEnd->announce();
  list->eject(list->ramDisks()[1], 0);
  list->setSaveAtSessionEnd(false);
  list->writeRamDisksToDefaultLocation();
  announceChange(kSenderApp);
  EXPECT_TRUE(sessionEnd->held.has_value()) << "until the save ends";
  loop->runUntil([&] { return !sessionEnd->held; });
  keeper.decideHold();
  EXPECT_FALSE(sessionEnd->held.has_value());
}

}  // namespace
