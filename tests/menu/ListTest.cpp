#include "system/QVMacInfo.h"
#include "tests/menu/MenuTest.h"

namespace {

class ListTest : public MenuTest {
 protected:
  static constexpr char kApplication[] = "/opt/tarnvale/bin/settings";
  // The titles of the commands on all disks, with their tags.
  Lines commandsOnAllDisks() {
    Lines found;
    for (const auto& item : open().items())
      if (item->action.name == "mi_performAllAction:")
        found.push_back(item->title + (item->isEnabled ? " " : " (off) ") +
                        std::to_string(item->tag));
    return found;
  }
};

TEST_F(ListTest, ADiskInEveryStateHasItsRow) {
  start();
  record("idle", QVRamDiskStatus_notCreated);
  record("waiting", QVRamDiskStatus_created);
  record("used", QVRamDiskStatus_mounted, QVRamDiskBackupMode_Base);
  const auto busy = record("busy", QVRamDiskStatus_mounted, QVRamDiskBackupMode_Directory);
  busy->setAction(QVRamDiskActionBackup);
  EXPECT_EQ(
      lines(open()),
      (Lines{"Open Tarnvale [mi_openRamDiskApp:]", "---", "Create All [mi_performAllAction:#1]",
             "Eject All [mi_performAllAction:#2]", "Synchronise All [mi_performAllAction:#3]",
             "---", "idle [mi_openRamDisk:] = disk idle > RamDiskMenu",
             "waiting [mi_openRamDisk:] = disk waiting > RamDiskMenu",
             "used [mi_openRamDisk:] = disk used > RamDiskMenu",
             "busy (off) [mi_openRamDisk:] = disk busy > RamDiskMenu", "---",
             "Quit Tarnvale Menu [mi_quitHelper:]"}));
}

TEST_F(ListTest, RowsShowTheRecordAndSpinWhileTheMenuIsOpen) {
  start();
  record("idle", QVRamDiskStatus_notCreated);
  record("busy", QVRamDiskStatus_mounted)->setAction(QVRamDiskActionEject);
  const auto& shown = open();
  const auto rowOf = [&](const std::string& title) {
    return std::dynamic_pointer_cast<menu::RamDiskMenuItemView>(itemOf(shown, title)->view);
  };
  const auto busy = rowOf("busy");
  ASSERT_TRUE(busy && rowOf("idle"));
  EXPECT_EQ(busy->frame(), (platform::Rect{0, 0, 260, 40}));
  EXPECT_EQ(busy->title(), "busy");
  EXPECT_EQ(busy->enclosingMenuItem.lock(), itemOf(shown, "busy"));
  EXPECT_EQ(rowOf("idle")->progressIndicator(), nullptr);
  const auto spins = [&] { return busy->progressIndicator()->isAnimating(); };
  turning->runUntil(spins);
  bar->item->view->setIsPressed(true);
  controller->statusMenu()->didClose();
  turning->runUntil([&] { return !spins(); });
  EXPECT_FALSE(bar->item->view->isPressed());
}

TEST_F(ListTest, WhichCommandsOnAllDisksThereAre) {
  const auto mounted = QVRamDiskStatus_mounted;
  const auto plain = QVRamDiskType_Default;
  const auto simulator = QVRamDiskType_CoreSimulator;
  const auto base = QVRamDiskBackupMode_Base;
  const auto directory = QVRamDiskBackupMode_Directory;
  const Lines create = {"Create All 1", "Eject All (off) 2"};
  const Lines eject = {"Create All (off) 1", "Eject All 2"};
  const auto with = [&](const char* third) { return Lines{eject[0], eject[1], third}; };
  const auto are = [&](QVRamDiskStatus status, QVRamDiskBackupMode mode, QVRamDiskType type,
                       const Lines& expected, QVRamDiskAction action = QVRamDiskActionNone) {
    start();
    record("disk", status, mode, type)->setAction(action);
    EXPECT_EQ(commandsOnAllDisks(), expected)
        << status << " " << mode << " " << type << " " << action;
  };
  are(QVRamDiskStatus_notCreated, base, plain, create);
  are(QVRamDiskStatus_created, base, plain, eject);
  are(static_cast<QVRamDiskStatus>(9), QVRamDiskBackupMode_None, plain, create);
  are(mounted, QVRamDiskBackupMode_None, plain, eject);
  are(mounted, base, plain, with("Synchronise All 3"));
  are(mounted, base, plain, eject, QVRamDiskActionBackup);
  are(mounted, QVRamDiskBackupMode_AppSupport, plain, with("Backup All 4"));
  are(mounted, directory, plain, with("Backup All 4"));
  are(mounted, directory, plain, eject, QVRamDiskActionBackup);
  are(mounted, QVRamDiskBackupMode_None, simulator, with("Synchronise All 3"));
  are(mounted, directory, simulator, with("Synchronise All 3"));
}

TEST_F(ListTest, WithoutDisksThereAreMemoryAndPurging) {
  applications->paths["com.tarnvale.Tarnvale"] = kApplication;
  platform::VirtualMemoryPages pages;
  pages.pageSize = 1U << 20U;
  pages.free = 100;
  pages.wired = 1536;
  machine->pages = pages;
  start();
  Lines figures = {"Open Tarnvale [mi_openRamDiskApp:] {icon of settings}",
                   "---",
                   "Memory Statistics (off) [mi_macInfo:]",
                   "    Wired: 1.50 GB (off) [mi_macInfo:]",
                   "    Free: 100 MB (off) [mi_macInfo:]",
                   "No RamDisk (off)",
                   "---",
                   "Quit Tarnvale Menu [mi_quitHelper:]"};
  EXPECT_EQ(lines(open()), figures);
  machine->pages->purgeable = 2;
  machine->pages->compressed = 1;
  machine->systemMajor = 10;
  machine->systemMinor = 8;
  QVMacInfo::forgetCachedAnswers();
  replaceTool(platform::Tool::Purger, "printf yes > " + scratch.path("purged"));
  figures.insert(figures.begin() + 5, {"    Purgeable: 2 MB (off) [mi_macInfo:]",
                                       "    Compressed: 1 MB (off) [mi_macInfo:]", "---",
                                       "Free Up Inactive Memory [mi_purgeMacMemory:]"});
  EXPECT_EQ(lines(open()), figures);
  click(open(), "Free Up Inactive Memory");
  turning->runUntil([&] { return readFile(scratch.path("purged")) == "yes"; });
  machine->pages.reset();
  figures.erase(figures.begin() + 1, figures.begin() + 7);
  EXPECT_EQ(lines(open()), figures);
  EXPECT_FALSE(open().autoenablesItems);
  EXPECT_EQ(open().title(), "StatusItemMenu");
}

TEST_F(ListTest, TheItemInTheBarAndItsClick) {
  scratch.file("home/.config/com.tarnvale.Tarnvale.plist",
               "<plist version=\"1.0\"><dict><key>StatusItemIconStyle</key><integer>2</integer>"
               "</dict></plist>");
  start();
  EXPECT_EQ(bar->length, 28);
  EXPECT_EQ(bar->item->menu, controller->statusMenu());
  EXPECT_EQ(bar->item->view->badgeStyle(), 2);
  bar->item->view->mouseDown();
  EXPECT_EQ(bar->item->popUps, 1);
  EXPECT_TRUE(bar->item->view->isPressed());
  click(open(), "Quit Tarnvale Menu");
  EXPECT_EQ(bar->terminations, 1);
}

TEST_F(ListTest, WhatBelongsToOtherProgramsIsStarted) {
  struct Opening : doubles::FakeWorkspace {
    bool openURL(const std::string& url) override {
      urls.push_back(url);
      return true;
    }
    Lines urls;
  };
  const auto desktop = std::make_shared<Opening>();
  auto services = platform::services();
  services.workspace = desktop;
  platform::install(services);
  applications->paths["com.tarnvale.Tarnvale"] = kApplication;
  applications->paths["com.apple.ActivityMonitor"] = scratch.file("monitor.desktop");
  start();
  click(open(), "Open Tarnvale");
  ASSERT_EQ(desktop->launched.size(), 1U);
  EXPECT_EQ(desktop->launched[0].first, kApplication);
  menu::MenuItem figure;
  controller->mi_macInfo(figure);
  EXPECT_EQ(desktop->urls, Lines{scratch.path("monitor.desktop")});
  desktop->succeeds = false;
  click(open(), "Open Tarnvale");
  applications->paths.clear();
  click(open(), "Open Tarnvale");
  EXPECT_EQ(log->count("launchApplication==NO path:"), 2U);
}

TEST_F(ListTest, ALookAloneStartsNothing) {
  writeList({"cache"});
  controller = StatusMenuController::initForDisplay();
  EXPECT_EQ(notifications->observerCount(), 0U);
  EXPECT_EQ(lines(open())[5], "cache [mi_openRamDisk:] = disk cache > RamDiskMenu");
  click(open(), "Quit Tarnvale Menu");
  controller->updateDiskWarning();
  controller->statusMenu()->didClose();
}

}  // namespace
