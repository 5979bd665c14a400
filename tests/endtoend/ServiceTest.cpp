// A helper that stays, on buses of the test's own: the command line, the session's end, and a
// second helper.

#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>

#include "tests/endtoend/HelperTest.h"
#include "tests/support/LogindDouble.h"
#include "tests/support/PrivateBus.h"

namespace {

using namespace std::chrono_literals;

class ServiceTest : public HelperTest {
 protected:
  ServiceTest() {
    setenv("DBUS_SESSION_BUS_ADDRESS", sessionBus.address().c_str(), 1);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", systemBus.address().c_str(), 1);
  }
  ~ServiceTest() override { unsetenv("DBUS_SESSION_BUS_ADDRESS"); }

  // Returns when it follows the list.
  std::unique_ptr<Helper> service() {
    auto helper = std::make_unique<Helper>(std::vector<std::string>{"--service", "-v"}, log);
    EXPECT_TRUE(comesTrue([&] { return logs("The list is followed") == 1; })) << readFile(log);
    return helper;
  }
  std::ptrdiff_t logs(const std::string& part) const {
    const std::string text = readFile(log);
    std::ptrdiff_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
  }
  bool isHeldSoon(std::size_t count) {
    return comesTrue([&] { return logind.held() == count; }, 1s);
  }
  std::string saved(const std::string& folder, const std::string& file) const {
    return readFile(folder + " (Tarnvale Backup Base)/" + file);
  }

  PrivateBus sessionBus;
  PrivateBus systemBus;
  LogindDouble logind{systemBus.address(), 5s};
  const std::string log = scratch.path("log");
};

// One look at the file for each change, and none besides.
TEST_F(ServiceTest, WhatTheCommandLineChangesIsKnownWithinASecond) {
  const auto helper = service();
  add("first");
  EXPECT_TRUE(comesTrue([&] { return logs("read again: 1 disks") == 1; }, 1s)) << readFile(log);
  add("second");
  EXPECT_TRUE(comesTrue([&] { return logs("read again: 2 disks") == 1; }, 1s)) << readFile(log);
  ASSERT_EQ(run("remove first --yes"), 0);
  EXPECT_TRUE(comesTrue([&] { return logs("read again: 1 disks") == 2; }, 1s)) << readFile(log);
  EXPECT_EQ(logs("read again"), 3);
}

TEST_F(ServiceTest, TheEndOfTheSessionWaitsForTheSave) {
  const auto helper = service();
  const auto folder = add("cache");
  EXPECT_EQ(logind.held(), 0U) << "nothing is mounted";
  ASSERT_EQ(run("create cache"), 0);
  EXPECT_TRUE(isHeldSoon(1)) << readFile(log);
  EXPECT_EQ(logind.granted(), std::vector<std::string>{"shutdown:sleep/Tarnvale-Helper/Saving the "
                                                       "contents of the RAM disks/delay"});
  scratch.file("home/desk/cache/new", "new");
  logind.announce("Shutdown");
  EXPECT_TRUE(comesTrue([&] { return logind.goesOn(); }));
  EXPECT_EQ(logind.held(), 0U) << "it was released, in time";
  EXPECT_EQ(saved(folder, "new"), "new");
  EXPECT_TRUE(isMounted(folder));
  logind.isOver("Shutdown");
  EXPECT_TRUE(isHeldSoon(1)) << "the shutdown was called off";
}

TEST_F(ServiceTest, TurnedOffItNeitherHoldsNorSaves) {
  const auto folder = add("cache");
  const auto helper = service();
  ASSERT_TRUE(isMounted(folder) && isHeldSoon(1));
  ASSERT_EQ(run("session-save off"), 0);
  EXPECT_TRUE(isHeldSoon(0));
  scratch.file("home/desk/cache/new", "new");
  const auto looks = logs("read again");
  logind.announce("Shutdown");
  EXPECT_TRUE(comesTrue([&] { return logs("read again") > looks; }));
  EXPECT_EQ(logind.granted().size(), 1U);
  helper->ask();
  EXPECT_EQ(helper->end(), 0);
  EXPECT_EQ(saved(folder, "new"), "");
}

TEST_F(ServiceTest, ADiskThatAnotherProgramWorksOnIsSavedAfterwards) {
  const auto folder = add("cache");
  const auto helper = service();
  ASSERT_TRUE(isMounted(folder) && isHeldSoon(1));
  scratch.file("home/desk/cache/new", "new");
  const auto locks = home + "/.local/share/com.tarnvale.Tarnvale/Locks";
  const auto file = std::filesystem::directory_iterator(locks)->path();
  Descriptor lock(open(file.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(flock(lock.get(), LOCK_EX | LOCK_NB), 0);
  logind.announce("Shutdown");
  EXPECT_TRUE(comesTrue([&] { return logs("read again") == 1; })) << "it knows of the end";
  EXPECT_EQ(saved(folder, "new"), "");
  lock.reset();
  EXPECT_TRUE(comesTrue([&] { return logind.goesOn(); }));
  EXPECT_EQ(logind.held(), 0U);
  EXPECT_EQ(saved(folder, "new"), "new");
  EXPECT_EQ(logs("could not be saved"), 0) << readFile(log);
}

// What was saved before is still whole.
TEST_F(ServiceTest, ASaveThatFailsIsToldAndTheSessionEnds) {
  const std::string small = scratch.directory("home/desk");
  ASSERT_EQ(mount("small", small.c_str(), "tmpfs", 0, "size=4M"), 0);
  scratch.file("home/desk/cache/old", "old");
  const auto folder = add("cache");
  const auto helper = service();
  ASSERT_TRUE(isMounted(folder) && isHeldSoon(1));
  scratch.file("home/desk/cache/large", std::string(8'000'000, 'x'));
  logind.announce("Shutdown");
  EXPECT_TRUE(comesTrue([&] { return logind.goesOn(); }));
  EXPECT_EQ(logind.held(), 0U);
  EXPECT_EQ(logs("cache could not be saved"), 1) << readFile(log);
  EXPECT_EQ(saved(folder, "old"), "old");
  EXPECT_EQ(saved(folder, "large"), "");

  std::filesystem::remove(folder + "/large");
  helper->ask();
  EXPECT_EQ(helper->end(), 0);
  EXPECT_EQ(run("eject cache"), 0);
  EXPECT_EQ(readFile(folder + "/old"), "old");
  EXPECT_EQ(umount2(small.c_str(), 0), 0);
}

TEST_F(ServiceTest, ADiskThatAnotherHelperIsMakingIsLeftToIt) {
  const std::string gate = scratch.path("gate");
  const std::string reached = scratch.path("reached");
  ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
  const auto command = scratch.executable(
      "command", "#!/bin/sh\n: > '" + reached + "'\nread line < '" + gate + "'\n");
  scratch.file("home/desk/cache/old", "old");
  const auto folder = add("cache", "--post-command '" + command + "'");
  const std::string firstLog = scratch.path("first log");
  Helper first({"--service", "-v"}, firstLog);
  ASSERT_TRUE(comesTrue([&] { return std::filesystem::exists(reached); }));

  Helper second({"--service", "-v"}, log);
  EXPECT_TRUE(comesTrue([&] { return logs("another program is working on it") == 1; }));
  scratch.file("home/desk/cache/new", "new");
  std::ofstream(gate) << "go\n";
  EXPECT_EQ(first.end(), 0);
  EXPECT_TRUE(comesTrue([&] { return logs("The list is followed") == 1; }));
  EXPECT_TRUE(isHeldSoon(1)) << "the second knows that it is mounted";
  EXPECT_EQ(mounts().find(" " + folder + " "), mounts().rfind(" " + folder + " ")) << "once";
  EXPECT_EQ(mounts().find("/run/tarnvale/disk"), mounts().rfind("/run/tarnvale/disk"));
  EXPECT_EQ(readFile(folder + "/old") + readFile(folder + "/new"), "oldnew");
  EXPECT_EQ(saved(folder, "new"), "new") << "the first saved when it ended";
  for (const auto& text : {readFile(firstLog), readFile(log)})
    EXPECT_EQ(text.find("ERROR"), std::string::npos) << text;
}

}  // namespace
