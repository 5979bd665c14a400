#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <utility>

#include "core/Identifiers.h"
#include "system/QVRamDiskUtils.h"
#include "tests/app/AppTest.h"

namespace {

using LaunchTest = AppTest;

TEST_F(LaunchTest, WithoutAMenuItMakesTheDisksOnAThreadAndStaysToSaveThem) {
  listOf({"first", "second"});
  const auto delegate = launched();
  recover(delegate);
  EXPECT_EQ(steps(), (Steps{"read the list", "look for copies", "read the list", "make a disk",
                            "read the list", "make a disk", "read the list", "write the list",
                            "read the list"}));
  EXPECT_TRUE(sessionEnd->held.has_value());
  const auto list = reread();
  for (const auto& disk : list->ramDisks()) {
    EXPECT_EQ(disk->status(), QVRamDiskStatus_mounted);
    EXPECT_TRUE(isMounted(disk->path().value_or("")));
  }
  EXPECT_EQ(loop->slept.count(), 0);
}

TEST_F(LaunchTest, WithAMenuItStaysAndTheMenuIsToldOfTheEnd) {
  listOf({"first"}, true);
  const auto delegate = launched();
  recover(delegate);
  EXPECT_EQ(steps(), (Steps{"read the list", "make the menu", "read the list", "look for copies",
                            "read the list", "make a disk", "read the list", "write the list",
                            "read the list"}));
  EXPECT_EQ(controller->ramDiskEntries()->ramDisks()[0]->status(), QVRamDiskStatus_mounted);
  EXPECT_TRUE(sessionEnd->held.has_value()) << "the menu's list knows what was made";
  delegate->terminate();
  delegate->terminate();
  EXPECT_EQ(steps().size(), 10U);
  EXPECT_EQ(steps().back(), "stop");
}

TEST_F(LaunchTest, StartedByTheApplicationItMakesNoDisk) {
  listOf({"first"}, true);
  launched({"FromApp"});
  EXPECT_EQ(steps(), (Steps{"read the list", "make the menu", "read the list", "look for copies"}));
  EXPECT_EQ(log->count("Helper started from the principal app"), 1U);
  controller = nullptr;
  for (const char* option : {"--no-menu", "--service"}) {
    const auto delegate = launched({option, "FromApp"});
    EXPECT_EQ(steps().back(), "read the list") << "to follow it";
    EXPECT_EQ(notifications->observerCount(), 1U);
  }
  EXPECT_EQ(deviceCount(), 0U);
}

TEST_F(LaunchTest, OnlyWhatIsWantedAndNotMountedIsMade) {
  const auto list = listOf({"mounted", "unwanted", "wanted"});
  list->create(list->ramDisks()[0], 0);
  list->ramDisks()[1]->setCreateAtLogin(false);
  list->writeRamDisksToDefaultLocation();
  recover(launched({"--no-menu"}));
  EXPECT_EQ(deviceCount(), 2U);
  EXPECT_FALSE(isMounted(folder("unwanted")));
  EXPECT_TRUE(isMounted(folder("wanted")));
}

// A service saves the disks at the session's end, whatever becomes of the menu: only another one
// takes its place.
TEST_F(LaunchTest, OtherCopiesAreAskedToEndAndForcedWhereTheyCannotBe) {
  using Asked = std::vector<std::int64_t>;
  applications->applications = {{7001, kHelperBundleId, {}, {"--no-menu"}},
                                {getpid(), kHelperBundleId, {}},
                                {7002, kHelperBundleId, {}},
                                {7003, "com.example.other", {}},
                                {7004, kHelperBundleId, {}, {"-v", "--service"}}};
  applications->refusing = {7002};
  const Asked others = {7001, 7002};
  launched({"FromApp"});
  EXPECT_EQ(std::exchange(applications->asked, {}), others);
  EXPECT_EQ(applications->forced, Asked{7002});
  for (const bool shows : {false, true}) {
    QVRamDiskUtils::setHelperIsRunning(shows);
    EXPECT_EQ(std::exchange(applications->asked, {}), others);
  }
  launched({"--service"});
  EXPECT_EQ(applications->asked, Asked{7004});
}

TEST_F(LaunchTest, AnActionThatStillRunsAtTheEndHasThirtySeconds) {
  const auto list = listOf({"made", "busy"});
  list->setSaveAtSessionEnd(false);
  list->ramDisks()[1]->setCreateAtLogin(false);
  list->writeRamDisksToDefaultLocation();
  const auto delegate = launched({"--no-menu"});
  delegate->ramDiskEntries()->ramDisks()[1]->setAction(QVRamDiskActionBackup);
  recover(delegate);
  EXPECT_EQ(log->count("hasRunningAction==YES"), 1U);
  EXPECT_EQ(loop->slept, std::chrono::seconds(30));
  EXPECT_EQ(steps().back(), "stop");
  EXPECT_EQ(reread()->ramDisks()[0]->status(), QVRamDiskStatus_mounted);
}

TEST_F(LaunchTest, WhatOthersChangeMeanwhileIsKept) {
  listOf({"first"});
  const auto delegate = launched({"--no-menu"});
  const auto theirs = reread();
  theirs->ramDisks()[0]->setBackupMode(QVRamDiskBackupMode_None);
  theirs->addRamDisk()->setName("added");
  theirs->writeRamDisksToDefaultLocation();
  recover(delegate);
  const std::vector<QVRamDiskPtr> list = reread()->ramDisks();
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list[0]->backupMode(), QVRamDiskBackupMode_None);
  EXPECT_EQ(list[0]->status(), QVRamDiskStatus_mounted);
}

// The second disk is not begun, and what was made is not forgotten.
TEST_F(LaunchTest, AskedToEndInTheMiddleItEndsAfterTheDiskAtHand) {
  listOf({"first", "second"});
  const std::string gate = scratch.path("gate");
  ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
  replaceTool(platform::Tool::Formatter, "read line < '" + gate + "'\nexec '" +
                                             places->realTool(platform::Tool::Formatter) +
                                             "' \"$@\"");
  const auto delegate = launched({"--service"});
  std::ofstream open(gate);  // when the tool runs
  loop->onSleep = [&] {
    if (open.is_open()) open << "go\n";
    open.close();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  };
  delegate->terminate();
  EXPECT_FALSE(delegate->hasLeftovers());
  const std::vector<QVRamDiskPtr> list = reread()->ramDisks();
  EXPECT_EQ(list[0]->status(), QVRamDiskStatus_mounted);
  EXPECT_EQ(list[1]->status(), QVRamDiskStatus_notCreated);
  EXPECT_EQ(deviceCount(), 1U);
  loop->run();  // what was posted meanwhile is dropped
}

TEST_F(LaunchTest, OptionsAreTakenAtTheirWord) {
  using app::helperOptions;
  EXPECT_TRUE(helperOptions({}).menu);
  EXPECT_FALSE(helperOptions({"--no-menu"}).menu);
  EXPECT_TRUE(helperOptions({"--service", "FromApp"}).fromApp);
  EXPECT_FALSE(helperOptions({"FromApp", "--service"}).fromApp);
  EXPECT_EQ(helperOptions({"FromApp", "--service"}).unknown, "FromApp");
  EXPECT_EQ(helperOptions({"fromapp"}).unknown, "fromapp");
  EXPECT_EQ(helperOptions({"--help", "--x"}).unknown, "--x");
}

}  // namespace
