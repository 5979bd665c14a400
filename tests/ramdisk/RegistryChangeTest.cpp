// What several programs change in the registry at the same time.

#include <grp.h>
#include <sys/stat.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <set>
#include <thread>

#include "platform/linux/LinuxServices.h"
#include "ramdisk/QVRamDiskEntries.h"
#include "tests/support/EngineTest.h"
#include "tests/support/OtherProgram.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Of whoever changes the file here.
constexpr uid_t kUser = 1000;
constexpr unsigned kRounds = 100;

class RegistryChangeTest : public EngineTest {
 protected:
  RegistryChangeTest() {
    const auto entries = QVRamDiskEntries::init();
    entries->addRamDisk()->setName("shared");
    entries->writeRamDisksToDefaultLocation();
  }

  std::string path = RegistryFile::defaultPath().value();

  RegistryContents saved() const { return RegistryFile(path).read().value(); }
  QVRamDiskPtr shared() const { return saved().ramDisks.at(0); }
  static std::shared_ptr<QVRamDiskEntries> list() {
    auto entries = QVRamDiskEntries::init();
    entries->readRamDisksFromDefaultLocation();
    return entries;
  }

  Checked grow(std::chrono::milliseconds patience) const {
    return RegistryFile(path).change(
        [](auto& contents) {
          contents->ramDisks.at(0)->setSize(contents->ramDisks.at(0)->size() + 1);
          return true;
        },
        patience);
  }

  static void sleepForReal() {
    auto services = platform::services();
    services.mainLoop = platform::linuxServices({}).mainLoop;
    platform::install(services);
  }

  // Another program in the middle of a change, for ever.
  std::unique_ptr<OtherProgram> hangingProgram() const {
    auto other = std::make_unique<OtherProgram>([this](OtherProgram& self) {
      RegistryFile(path).change([&](auto& contents) {
        contents->ramDisks.clear();
        self.tell();
        return OtherProgram::hang();
      });
      return false;
    });
    EXPECT_TRUE(other->waitUntilTold());
    return other;
  }
};

// Each round adds a disk, makes the one that all share larger by one, and removes the disk of the
// round before last.
bool workAs(const std::string& path, const std::string& name) {
  std::deque<std::string> own;
  for (unsigned round = 0; round < kRounds; ++round) {
    const auto done = RegistryFile(path).change(
        [&](auto& contents) {
          auto& disks = contents->ramDisks;
          disks.push_back(QVRamDisk::init());
          disks.back()->setName(name + std::to_string(round));
          disks.front()->setSize(disks.front()->size() + 1);
          own.push_back(*disks.back()->name());
          if (own.size() <= 2) return true;
          const auto removed =
              std::erase_if(disks, [&](const auto& disk) { return disk->name() == own.front(); });
          own.pop_front();
          return removed == 1;
        },
        60s);
    if (!done) return false;
  }
  return true;
}

TEST_F(RegistryChangeTest, NoneIsLostThatProgramsAndThreadsMakeAtTheSameTime) {
  sleepForReal();
  const auto before = shared()->size();
  OtherProgram one([&](auto&) { return workAs(path, "one "); });
  OtherProgram two([&](auto&) { return workAs(path, "two "); });
  bool didWork = false;
  std::thread thread([&] { didWork = workAs(path, "thread "); });
  EXPECT_TRUE(workAs(path, "main "));
  thread.join();
  EXPECT_TRUE(didWork && one.ended() && two.ended());
  std::set<std::string> expected = {"shared"};
  for (const char* name : {"one ", "two ", "thread ", "main "})
    for (const unsigned round : {kRounds - 2, kRounds - 1})
      expected.insert(name + std::to_string(round));
  std::set<std::string> names;
  for (const auto& disk : saved().ramDisks) names.insert(*disk->name());
  EXPECT_EQ(names, expected);
  EXPECT_EQ(shared()->size(), before + 4U * kRounds);
}

// The clock is the test's own: what is waited takes no time.
TEST_F(RegistryChangeTest, AProgramThatHangsIsWaitedForAWhileAndItsEndFreesTheFile) {
  const auto before = shared()->size();
  const auto other = hangingProgram();
  for (const auto patience : {0ms, 40ms, RegistryLock::kPatience}) {
    loop->slept = 0ms;
    const auto grown = grow(patience);
    ASSERT_FALSE(grown);
    EXPECT_EQ(grown.error().trouble, Trouble::RegistryBusy);
    EXPECT_EQ(grown.error().facts.path, path + ".lock");
    EXPECT_EQ(loop->slept, patience);
  }
  EXPECT_FALSE(list()->writeRamDisksToDefaultLocation());
  EXPECT_EQ(shared()->size(), before) << "it can be read all the while";
  other->kill();
  EXPECT_TRUE(grow(0ms));
  EXPECT_EQ(shared()->size(), before + 1);
}

// The menu does not stand still for longer than it says, and forgets nothing.
TEST_F(RegistryChangeTest, AStateThatCouldNotBeSavedIsSavedWhenTheOtherLetsGo) {
  const auto entries = list();
  entries->setUpdator(1);
  const auto other = hangingProgram();
  entries->ramDisks()[0]->setDeviceNode("/dev/disk77");
  ASSERT_FALSE(entries->saveStatesOf(entries->ramDisks(), 300ms));
  EXPECT_EQ(loop->slept, 300ms);
  entries->readRamDisksFromDefaultLocation();
  EXPECT_EQ(entries->ramDisks()[0]->deviceNode(), "/dev/disk77");
  for (int second = 0; second < 3; ++second) loop->fire();
  EXPECT_EQ(loop->slept, 300ms);
  EXPECT_EQ(log->count("keeps " + path + ".lock locked"), 1U);
  EXPECT_TRUE(notifications->posted.empty());
  other->kill();
  for (int second = 0; second < 3; ++second) loop->fire();
  EXPECT_EQ(shared()->deviceNode(), "/dev/disk77");
  ASSERT_EQ(notifications->posted.size(), 1U);
  EXPECT_EQ(notifications->posted[0].object, kSenderHelper);
}

TEST_F(RegistryChangeTest, OnlyWhatWasObservedOfADiskIsSaved) {
  const auto entries = list();
  const auto theirs = list();
  const auto acting = entries->ramDisks()[0];
  theirs->ramDisks()[0]->setCreateAtLogin(true);
  theirs->addRamDisk()->setDeviceNode("/dev/disk77");
  theirs->setSaveAtSessionEnd(false);
  theirs->writeRamDisksToDefaultLocation();
  acting->setDeviceNode("/dev/disk77");
  acting->setStatus(QVRamDiskStatus_created);
  acting->setSize(5);
  EXPECT_TRUE(entries->saveStatesOf({acting}));
  ASSERT_EQ(saved().ramDisks.size(), 2U);
  EXPECT_TRUE(shared()->createAtLogin());
  EXPECT_NE(shared()->size(), 5U);
  EXPECT_EQ(shared()->deviceNode(), "/dev/disk77");
  EXPECT_EQ(saved().ramDisks[1]->deviceNode(), std::nullopt) << "it was that of an older disk";
  EXPECT_EQ(saved().saveAtSessionEnd, false);
}

TEST_F(RegistryChangeTest, ARemovedDiskComesBackOnlyWithADevice) {
  const auto entries = list();
  const auto acting = entries->ramDisks()[0];
  ASSERT_TRUE(list()->changeFile([] { return false; }));
  const auto theirs = list();
  theirs->takeOut(theirs->ramDisks()[0]);
  theirs->writeRamDisksToDefaultLocation();
  EXPECT_TRUE(entries->saveStatesOf({acting}));
  EXPECT_TRUE(saved().ramDisks.empty());
  acting->setDeviceNode("/dev/disk77");
  acting->setStatus(QVRamDiskStatus_mounted);
  EXPECT_TRUE(entries->saveStatesOf({acting}));
  EXPECT_EQ(shared()->name(), "shared");
}

// --- Permissions

// As the user: the test itself may write everywhere.
std::string failureAsUser(const std::function<Checked()>& change, const std::string& report) {
  OtherProgram user([&](auto&) {
    if (setgroups(0, nullptr) != 0 || setgid(kUser) != 0 || setuid(kUser) != 0) return false;
    const auto done = change();
    if (!done)
      std::ofstream(report) << done.error().facts.path + "|" + done.error().facts.text;
    else
      std::ofstream(report) << "done";
    return done || done.error().trouble == Trouble::RegistryUnwritable;
  });
  EXPECT_TRUE(user.ended());
  return readFile(report);
}

TEST_F(RegistryChangeTest, WhatCannotBeWrittenIsNamed) {
  if (getuid() != 0) GTEST_SKIP() << "another user is needed";
  const auto asUser = [&] {
    return failureAsUser([&] { return grow(0ms); }, scratch.path("told"));
  };
  const std::string lock = path + ".lock";
  const std::string denied = path + "|" + lock + ": Permission denied";
  const auto folder = fs::path(path).parent_path();
  chmod(scratch.path().c_str(), 0777);
  const auto giveToUser = [](const std::string& item) { chown(item.c_str(), kUser, kUser); };
  giveToUser(path);
  fs::remove(lock);
  EXPECT_EQ(asUser(), denied) << "the folder is root's";
  giveToUser(folder);
  EXPECT_EQ(asUser(), "done");
  fs::remove(lock);
  EXPECT_TRUE(grow(0ms)) << "made by root";
  EXPECT_EQ(asUser(), "done");
  chown(lock.c_str(), 0, 0);
  EXPECT_EQ(asUser(), denied);
  fs::remove(lock);
  fs::create_symlink(path, lock);
  EXPECT_TRUE(asUser().starts_with(path + "|" + lock + ": "));
}

struct FilesWithoutLocks : FaultyFiles {
  using FaultyFiles::FaultyFiles;
  platform::Result<std::shared_ptr<platform::FileLock>> lock(const std::string& path) override {
    return platform::SystemError{"POSIX", ENOLCK, path + ": No locks available"};
  }
};

TEST_F(RegistryChangeTest, AFileSystemWithoutLocksIsWrittenAllTheSame) {
  auto services = platform::services();
  services.files = std::make_shared<FilesWithoutLocks>(faults);
  platform::install(services);
  const auto before = shared()->size();
  EXPECT_TRUE(grow(0ms));
  EXPECT_EQ(shared()->size(), before + 1);
  EXPECT_EQ(log->count("changed without a lock"), 1U);
}

}  // namespace
