#include <sys/mount.h>

#include <filesystem>
#include <future>
#include <thread>

#include "core/QVError.h"
#include "kinds/QVRamDiskManager.h"
#include "ramdisk/ActionLock.h"
#include "tests/menu/MenuTest.h"

namespace {

namespace fs = std::filesystem;

constexpr char kOtherAtWork[] = "Another program is working on this RamDisk\n";

// What the menu's items do to real disks.
class ActionsTest : public MenuTest {
 protected:
  void startMounted() {
    startWith({"cache"});
    choose("cache", "Create");
  }
  void choose(const std::string& title) {
    click(open(), title);
    waitForEnd();
  }
  void choose(const std::string& name, const std::string& title) {
    open();
    click(openDisk(name), title);
    waitForEnd();
  }
};

TEST_F(ActionsTest, ADisksWholeLife) {
  startMounted();
  EXPECT_EQ(notifications->posted.size(), 1U) << "of its many stages only the end is told";
  EXPECT_TRUE(isMounted(folder("cache")));
  EXPECT_EQ(saved()->path(), folder("cache"));
  scratch.file("home/desk/cache/new", "new");
  choose("cache", "Synchronise Now");
  EXPECT_EQ(readFile(savedBase("cache") + "/new"), "new");
  choose("cache", "Rebuild");
  EXPECT_EQ(readFile(folder("cache") + "/new"), "new");
  choose("cache", "Delete All Files");
  EXPECT_FALSE(fs::exists(folder("cache") + "/new"));
  EXPECT_EQ(bar->activations, 1);
  choose("cache", "Eject");
  EXPECT_FALSE(isMounted(folder("cache")));
  EXPECT_EQ(saved()->status(), QVRamDiskStatus_notCreated);
  EXPECT_TRUE(alerts->shown.empty());
}

TEST_F(ActionsTest, AMountedDiskIsOpenedBrowsedAndWatched) {
  startMounted();
  const auto warnsAfterRefresh = [this] {
    controller->ramDiskEntries()->updatorAction();
    return bar->item->view->isWarn();
  };
  EXPECT_FALSE(warnsAfterRefresh());
  scratch.file("home/desk/cache/sub/large", std::string(kSize / 20 * 17, 'x'));
  EXPECT_TRUE(warnsAfterRefresh());
  click(open(), "cache");
  EXPECT_EQ(workspace->opened, Lines{folder("cache")});
  const auto below = openFolder(openDisk("cache"), "sub");
  ASSERT_TRUE(below);
  EXPECT_EQ(lines(*below), (Lines{"Remove this Folder [mi_cleanFolder:] = ~/cache/sub", "---",
                                  "large [mi_openFile:] {icon of large} = ~/cache/sub/large"}));
  click(*below, "Remove this Folder");
  EXPECT_FALSE(fs::exists(folder("cache") + "/sub"));
  EXPECT_FALSE(warnsAfterRefresh());
}

TEST_F(ActionsTest, AnUnmountedDeviceIsMountedAgain) {
  startMounted();
  scratch.file("home/desk/cache/new", "new");
  ASSERT_EQ(umount2(folder("cache").c_str(), MNT_DETACH), 0);
  fs::remove_all(folder("cache"));
  open();
  disk()->changeToType(QVRamDiskType_Firefox, QVRamDiskChangeTypeKeepSettings);
  disk()->setName("cache");
  disk()->setMountDirectory(work);
  runApplication("test.browser", "Browser");
  click(openDisk("cache"), "Mount");
  waitForEnd();
  EXPECT_EQ(readFile(folder("cache") + "/new"), "new");
  EXPECT_EQ(saved()->path(), folder("cache"));
}

TEST_F(ActionsTest, CommandsOnAllDisks) {
  startWith({"one", "two"});
  choose("Create All");
  for (const char* name : {"one", "two"}) {
    EXPECT_TRUE(isMounted(folder(name)));
    scratch.file("home/desk/" + std::string(name) + "/new", name);
  }
  choose("Synchronise All");
  for (const char* name : {"one", "two"}) EXPECT_EQ(readFile(savedBase(name) + "/new"), name);
  choose("Eject All");
  EXPECT_EQ(deviceCount(), 0U);
  EXPECT_EQ(saved(1)->status(), QVRamDiskStatus_notCreated);
}

// The eligibility that shows "Backup All" leaves simulators' disks out, the command does not.
TEST_F(ActionsTest, BackupsOfOneAndOfAll) {
  startWith({"one", "two", "phone"}, QVRamDiskBackupMode_AppSupport);
  choose("Create All");
  const auto isSaved = [&](std::size_t index) { return fs::exists(*disk(index)->backupDirPath()); };
  choose("one", "Backup Now");
  EXPECT_TRUE(isSaved(0));
  EXPECT_FALSE(isSaved(1));
  auto& shown = open();
  const auto phone = disk(2);
  phone->changeToType(QVRamDiskType_CoreSimulator, QVRamDiskChangeTypeKeepSettings);
  click(shown, "Backup All");
  waitForEnd();
  EXPECT_TRUE(isSaved(1));
  EXPECT_EQ(phone->lastActionInfo(), QVRamDiskActionInfo_backuping);
}

// A disk whose application runs is passed over; one that only waits to be mounted enables "Eject
// All" and is not ejected.
TEST_F(ActionsTest, WhatCommandsOnAllDisksPassOver) {
  start();
  record("browser", QVRamDiskStatus_notCreated, QVRamDiskBackupMode_None, QVRamDiskType_Firefox);
  record("mounted browser", QVRamDiskStatus_mounted, QVRamDiskBackupMode_None,
         QVRamDiskType_Firefox);
  record("waiting", QVRamDiskStatus_created, QVRamDiskBackupMode_Base);
  record("busy", QVRamDiskStatus_mounted, QVRamDiskBackupMode_Base)
      ->setAction(QVRamDiskActionRemount);
  runApplication("test.browser", "Browser");
  auto& shown = open();
  for (const char* title : {"Create All", "Eject All"}) click(shown, title);
  const auto item = itemOf(shown, "Eject All");
  for (const std::int64_t tag : {0, 3, 4, 5}) {
    item->tag = tag;
    item->click();
  }
  EXPECT_EQ(log->count("no longer listed"), 0U);
  EXPECT_EQ(log->count("busy is busy; nothing is done"), 1U) << "by Eject All";
  for (const auto& each : controller->ramDiskEntries()->ramDisks())
    EXPECT_EQ(each->lastActionInfo(), QVRamDiskActionInfo_none) << *each->name();
}

TEST_F(ActionsTest, WhatMeansNothingDoesNothing) {
  startWith({"cache"});
  open();
  const auto create = itemOf(openDisk("cache"), "Create");
  create->tag = 1;
  create->click();
  menu::MenuItem stray;
  controller->mi_cleanUp(stray);
  EXPECT_EQ(log->count("ramDisk==nil"), 1U) << "an impossible state";
  EXPECT_EQ(alerts->shown.size(), 1U);
  EXPECT_EQ(bar->activations, 1);
  stray.representedObject = disk();
  for (const std::int64_t tag : {0, 3}) {
    stray.tag = tag;
    controller->mi_backupNow(stray);
  }
  EXPECT_FALSE(controller->isBusy());
}

// Other threads that list a folder wait until they may.
class HeldFiles : public CountingFiles {
 public:
  using CountingFiles::CountingFiles;
  platform::Result<std::vector<std::string>> names(const std::string& path) const override {
    if (std::this_thread::get_id() != main_) allowed_.wait();
    return CountingFiles::names(path);
  }
  void allow() { allow_.set_value(); }

 private:
  const std::thread::id main_ = std::this_thread::get_id();
  std::promise<void> allow_;
  std::shared_future<void> allowed_ = allow_.get_future().share();
};

TEST_F(ActionsTest, AHugeDiskIsEmptiedBehindTheMenu) {
  startMounted();
  scratch.file("home/desk/cache/folder/file");
  auto services = platform::services();
  const auto held = std::make_shared<HeldFiles>(faults);
  services.files = held;
  platform::install(services);
  open();
  click(openDisk("cache"), "Delete All Files");
  const auto row = itemOf(open(), "cache");
  EXPECT_FALSE(row->isEnabled);
  EXPECT_EQ(row->view->accessibleName(), "cache, Deleting files…");
  EXPECT_TRUE(fs::exists(folder("cache") + "/folder"));
  held->allow();
  waitForEnd();
  EXPECT_TRUE(fs::is_empty(folder("cache")));
  EXPECT_TRUE(itemOf(open(), "cache")->isEnabled);
  EXPECT_EQ(notifications->posted.size(), 2U);
}

TEST_F(ActionsTest, AFailureIsToldOnceAndByName) {
  startWith({"cache"});
  const auto told = [this](std::size_t count) {
    turning->runUntil([&] { return alerts->shown.size() == count; });
    EXPECT_EQ(alerts->shown.back().title, "cache");
    return alerts->shown.back().text;
  };
  replaceTool(platform::Tool::Formatter, "echo no such device >&2; exit 3");
  choose("cache", "Create");
  const std::string creation = told(1);
  EXPECT_TRUE(creation.starts_with("Unable to create RamDisk\nno such device")) << creation;
  EXPECT_EQ(saved()->status(), QVRamDiskStatus_notCreated);

  places->replacements.clear();
  choose("cache", "Create");
  scratch.file("home/desk/cache/file");
  open();
  openDisk("cache");
  faults->fail("names");
  click(*itemOf(*controller->statusMenu(), "cache")->submenu, "Delete All Files");
  EXPECT_EQ(told(2), "Can not delete the files\ninjected failure");
  EXPECT_TRUE(fs::exists(folder("cache") + "/file"));

  replaceTool(platform::Tool::Unmounter, "echo target is busy >&2; exit 16");
  choose("cache", "Eject");
  const std::string ejection = told(3);
  EXPECT_NE(ejection.find("target is busy"), std::string::npos);
  EXPECT_NE(ejection.find("still mounted with its contents"), std::string::npos);
  EXPECT_FALSE(controller->isBusy());
}

// Alerts wait for each other, and other work goes on behind them.
TEST_F(ActionsTest, FailuresAreToldOneAfterTheOther) {
  struct Turning : doubles::RecordingAlerts {
    std::size_t runModal(const platform::Alert& alert) override {
      deepest = std::max(deepest, ++depth);
      whileShown();
      --depth;
      return RecordingAlerts::runModal(alert);
    }
    std::function<void()> whileShown;
    int depth = 0;
    int deepest = 0;
  };
  const auto turningAlerts = std::make_shared<Turning>();
  turningAlerts->whileShown = [this] { waitForEnd(); };
  auto services = platform::services();
  services.alerts = turningAlerts;
  platform::install(services);
  startWith({"one", "two", "three"});
  replaceTool(platform::Tool::Formatter, "exit 3");
  click(open(), "Create All");
  turning->runUntil([&] { return turningAlerts->shown.size() == 3; });
  EXPECT_EQ(turningAlerts->deepest, 1);
  EXPECT_FALSE(controller->isBusy());
}

// Neither what another program does, nor what another record of this one does, such as one of the
// helper's start.
TEST_F(ActionsTest, WhatIsBeingDoneElsewhereIsNotDisturbed) {
  startMounted();
  scratch.file("home/desk/cache/file");
  const std::string identifier = disk()->identifier().value_or("");
  const auto refusesAll = [&](std::size_t count) {
    for (const char* title : {"Eject", "Delete All Files", "Synchronise Now"})
      choose("cache", title);
    turning->runUntil([&] { return alerts->shown.size() == count; });
    EXPECT_TRUE(alerts->shown.back().text.starts_with(kOtherAtWork) &&
                alerts->shown.back().text.ends_with("\nTry again when it is done."))
        << alerts->shown.back().text;
  };
  {
    const auto held = ActionLock::take(identifier);
    refusesAll(3);
    const std::string process = "process " + std::to_string(getpid());
    EXPECT_NE(alerts->shown.back().text.find(process), std::string::npos);
  }
  std::shared_ptr<void> theirs;
  turning->runUntil([&] {  // it is given back a moment later
    auto lock = files->lock(*QVRamDiskManager::appSupportPath() + "/Locks/" + identifier);
    if (lock) theirs = *lock;
    return theirs != nullptr;
  });
  refusesAll(6);
  EXPECT_TRUE(isMounted(folder("cache")));
  EXPECT_TRUE(fs::exists(folder("cache") + "/file"));
}

TEST_F(ActionsTest, AnOpenMenuActsOnTheRecordThatTheListHasByThen) {
  startWith({"cache"});
  open();
  const auto create = itemOf(openDisk("cache"), "Create");
  const auto shown = disk();
  announceChange(kSenderApp);
  ASSERT_NE(disk(), shown);
  create->click();
  waitForEnd();
  EXPECT_EQ(disk()->status(), QVRamDiskStatus_mounted);
  open();
  const auto items = openDisk("cache").items();
  elsewhere([](auto& theirs) { theirs.eject(theirs.ramDisks()[0], 0); });
  announceChange(kSenderApp);
  for (const auto& item : items) {
    item->click();
    waitForEnd();
  }
  open();
  EXPECT_EQ(openDisk("cache").items()[0]->title, "Create");
}

// Until the list hears of it, a record shows the directory that the user's own files are back in.
TEST_F(ActionsTest, ADiskThatWasEjectedUnheardIsLeftAlone) {
  startWith({"cache"});
  scratch.file("home/desk/cache/sub/own", "own");
  choose("cache", "Create");
  open();
  auto items = openDisk("cache").items();
  const auto below = openFolder(openDisk("cache"), "sub");
  items.push_back(itemOf(*below, "Remove this Folder"));
  const auto theirs = QVRamDiskEntries::init();
  theirs->readRamDisksFromDefaultLocation();
  theirs->eject(theirs->ramDisks()[0], 0);
  disk()->setAction(QVRamDiskActionEject);
  items.back()->click();
  disk()->setAction(QVRamDiskActionNone);
  for (const char* title :
       {"Remove this Folder", "Delete All Files", "Synchronise Now", "Eject", "Rebuild"}) {
    SCOPED_TRACE(title);
    disk()->setStatus(QVRamDiskStatus_mounted);
    disk()->setPath(folder("cache"));
    for (const auto& item : items)
      if (item->title == title) item->click();
    waitForEnd();
    EXPECT_EQ(readFile(folder("cache") + "/sub/own"), "own");
    EXPECT_FALSE(fs::exists(savedBase("cache")));
    EXPECT_EQ(deviceCount(), 0U);
  }
}

// While an action runs the list is not read, however long it takes.
TEST_F(ActionsTest, ADiskThatWasMadeUnheardIsNotMadeAgain) {
  startWith({"cache", "other"});
  disk(1)->setAction(QVRamDiskActionBackup);
  elsewhere([](auto& theirs) { theirs.create(theirs.ramDisks()[0], 0); });
  announceChange(kSenderApp);
  open();
  click(openDisk("cache"), "Create");
  disk(1)->setAction(QVRamDiskActionNone);
  EXPECT_FALSE(controller->isBusy());
  EXPECT_EQ(log->count("cache was changed by another program; nothing is done"), 1U);
  EXPECT_EQ(deviceCount(), 1U);
  EXPECT_EQ(saved()->path(), folder("cache"));
  EXPECT_EQ(disk()->status(), QVRamDiskStatus_mounted);
}

}  // namespace
