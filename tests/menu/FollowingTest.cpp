#include <filesystem>

#include "core/QVError.h"
#include "ramdisk/QVRamDiskPreferences.h"
#include "tests/menu/MenuTest.h"
#include "tests/support/OtherProgram.h"

namespace {

class FollowingTest : public MenuTest {
 protected:
  bool isWarn() const { return bar->item->view->isWarn(); }
  static void fill(QVRamDisk& ramDisk, std::uint64_t percent) {
    ramDisk.setVolSize(1000);
    ramDisk.setVolFree(1000 - percent * 10);
  }
  std::size_t listed() const { return controller->ramDiskEntries()->ramDisks().size(); }
};

TEST_F(FollowingTest, AnIdleMountedDiskAboveFourFifthsWarns) {
  start();
  fill(*record("first", QVRamDiskStatus_mounted), 10);
  const auto second = record("second", QVRamDiskStatus_mounted);
  const auto warns = [&](QVRamDiskStatus status, std::uint64_t percent,
                         QVRamDiskAction action = QVRamDiskActionNone) {
    second->setStatus(status);
    second->setAction(action);
    fill(*second, percent);
    controller->updateDiskWarning();
    return isWarn();
  };
  EXPECT_FALSE(warns(QVRamDiskStatus_mounted, 80));
  EXPECT_TRUE(warns(QVRamDiskStatus_mounted, 81));
  EXPECT_FALSE(warns(QVRamDiskStatus_mounted, 81, QVRamDiskActionBackup));
  EXPECT_TRUE(warns(QVRamDiskStatus_mounted, 100));
  EXPECT_FALSE(warns(QVRamDiskStatus_created, 100));
}

TEST_F(FollowingTest, TheListIsReadWhenTheApplicationChangedItAndNothingRuns) {
  startWith({"first"});
  writeList({"first", "second"});
  announceChange(kSenderHelper);
  EXPECT_EQ(listed(), 1U);
  const auto busy = disk();
  busy->setAction(QVRamDiskActionBackup);
  announceChange(kSenderApp);
  EXPECT_EQ(log->count("hasRunningAction==YES"), 1U);
  open();
  EXPECT_EQ(disk(), busy);
  busy->setAction(QVRamDiskActionNone);
  open();
  EXPECT_EQ(listed(), 2U);
  writeList({"first", "second", "third"});
  announceChange(kSenderApp);
  EXPECT_EQ(listed(), 3U);
}

TEST_F(FollowingTest, TheIconsStyleFollowsTheApplication) {
  start();
  const auto announce = [&](const std::map<std::string, std::string>& infos) {
    notifications->deliver(
        {QVRamDiskPreferencesStatusItemIconStyleDidChangeNotification, kSenderApp, infos});
    return bar->item->view->badgeStyle();
  };
  EXPECT_EQ(announce({{"StatusItemIconStyle", "2"}}), 2);
  EXPECT_EQ(announce({{"StatusItemIconStyle", "-1 "}}), -1);
  EXPECT_EQ(announce({{"StatusItemIconStyle", "many"}}), 0);
  EXPECT_EQ(announce({}), 0);
}

TEST_F(FollowingTest, OnlyTheEndOfAnActionIsSavedAndTold) {
  startWith({"first"});
  const auto acting = disk();
  acting->setAction(QVRamDiskActionCreate);
  controller->mt_ramDiskDidUpdated(acting);
  EXPECT_TRUE(notifications->posted.empty());
  acting->setDeviceNode("/dev/disk77");
  acting->setAction(QVRamDiskActionNone);
  EXPECT_EQ(saved()->deviceNode(), std::nullopt);
  controller->mt_ramDiskDidUpdated(acting);
  EXPECT_EQ(saved()->deviceNode(), "/dev/disk77");
  ASSERT_EQ(notifications->posted.size(), 1U);
  EXPECT_EQ(notifications->posted[0].name, QVRamDiskEntriesDidChangeToAllNotification);
  EXPECT_EQ(notifications->posted[0].object, kSenderHelper);
}

// What others wrote into the file while the action ran is not written over, whether or not further
// actions run.
TEST_F(FollowingTest, TheEndOfAnActionKeepsWhatOthersChangedMeanwhile) {
  for (const bool anotherRuns : {false, true}) {
    startWith({"first", "other"});
    const auto acting = disk();
    disk(1)->setAction(anotherRuns ? QVRamDiskActionBackup : QVRamDiskActionNone);
    acting->setDeviceNode("/dev/disk77");
    elsewhere([](auto& theirs) {
      theirs.ramDisks()[0]->setCreateAtLogin(true);
      theirs.addRamDisk();
    });
    controller->mt_ramDiskDidUpdated(acting);
    ASSERT_TRUE(saved(2)) << anotherRuns;
    EXPECT_TRUE(saved()->createAtLogin());
    EXPECT_EQ(saved()->deviceNode(), "/dev/disk77");
    EXPECT_EQ(listed(), anotherRuns ? 2U : 3U);
  }
}

TEST_F(FollowingTest, AnActionThatDidNotBeginSavesNothingOfItsRecord) {
  startWith({"first"});
  elsewhere([](auto& theirs) { theirs.ramDisks()[0]->setDeviceNode("/dev/disk5"); });
  const auto refused = disk();
  refused->setLastError(QVError::errorWithMessage("Another program", "", QVErrorCode::Locked));
  controller->mt_ramDiskDidUpdated(refused);
  EXPECT_EQ(saved()->deviceNode(), "/dev/disk5");
}

TEST_F(FollowingTest, AListWhoseFileIsGoneIsWrittenAnew) {
  startWith({"first"});
  std::filesystem::remove(*RegistryFile::defaultPath());
  for (const bool anotherRuns : {true, false}) {
    disk()->setAction(anotherRuns ? QVRamDiskActionBackup : QVRamDiskActionNone);
    controller->mt_ramDiskDidUpdated(QVRamDisk::init());
    ASSERT_TRUE(saved());
    EXPECT_EQ(saved()->name(), "first");
    std::filesystem::remove(*RegistryFile::defaultPath());
  }
}

// The menu stands still for a moment only; the state is saved at the latest when the helper ends.
TEST_F(FollowingTest, AListThatAnotherProgramKeepsLockedIsSavedLater) {
  startWith({"first"});
  disk()->setDeviceNode("/dev/disk77");
  OtherProgram other([](OtherProgram& self) {
    const auto lock = RegistryLock::take(*RegistryFile::defaultPath(), {});
    self.tell();
    return OtherProgram::hang();
  });
  ASSERT_TRUE(other.waitUntilTold());
  controller->mt_ramDiskDidUpdated(disk());
  EXPECT_EQ(disk()->deviceNode(), "/dev/disk77");
  EXPECT_EQ(saved()->deviceNode(), std::nullopt);
  other.kill();
  controller->wantTerminate();
  EXPECT_EQ(saved()->deviceNode(), "/dev/disk77");
}

// The items of an open menu outlive the records that they were made for.
TEST_F(FollowingTest, AnOpenMenuWhoseListIsReplaced) {
  startWith({"first", "second"});
  open();
  const auto kept = openDisk("first").items();
  const auto keptRow = itemOf(*controller->statusMenu(), "first");
  writeList({"other"});
  announceChange(kSenderApp);
  for (const auto& item : kept) item->click();
  keptRow->click();
  EXPECT_FALSE(controller->isBusy());
  EXPECT_EQ(log->count("first is no longer listed; nothing is done"), 2U);
  EXPECT_EQ(openDisk("second").items().size(), 1U);
  EXPECT_EQ(lines(open())[5], "other [mi_openRamDisk:] = disk other > RamDiskMenu");
}

TEST_F(FollowingTest, NothingKeepsTheController) {
  start();
  const auto menu = controller->statusMenu();
  menu->needsUpdate();
  const std::weak_ptr<StatusMenuController> gone = controller;
  controller.reset();
  EXPECT_TRUE(gone.expired());
  EXPECT_EQ(notifications->observerCount(), 0U);
  menu->needsUpdate();
  for (const auto& item : menu->items()) item->click();
}

}  // namespace
