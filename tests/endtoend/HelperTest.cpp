#include "tests/endtoend/HelperTest.h"

#include <sys/stat.h>

#include <filesystem>

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

TEST_F(HelperTest, AtLoginTheDisksComeUpInOrderAndItEndsWhereNothingIsToBeSaved) {
  ASSERT_EQ(run("session-save off"), 0);
  const auto first = add("first");
  const auto mounted = add("mounted");
  const auto large = add("large");
  const auto last = add("last");
  ASSERT_EQ(std::system(("head -c 260000000 /dev/zero > '" + large + "/file'").c_str()), 0);
  ASSERT_EQ(run("create mounted"), 0);
  scratch.file("home/desk/mounted/new", "new");
  const std::string device = show("mounted");

  EXPECT_EQ(Helper().end(), 0);
  EXPECT_TRUE(isMounted(first) && isMounted(last));
  EXPECT_LT(mountPlace(first), mountPlace(last));
  EXPECT_FALSE(isMounted(large));
  EXPECT_EQ(fs::file_size(large + "/file"), 260000000U);
  EXPECT_EQ(readFile(mounted + "/new"), "new");
  const std::string file = readFile(home + "/.local/share/com.tarnvale.Tarnvale/RamDiskEntries");
  EXPECT_FALSE(file.empty());
  for (const char* name : {"first", "mounted", "last"})
    EXPECT_NE(show(name).find("\"mounted\""), std::string::npos) << show(name);
  EXPECT_NE(show("large").find("\"notCreated\""), std::string::npos) << show("large");
  EXPECT_EQ(show("mounted"), device) << "it was left alone";
  ASSERT_EQ(run("eject --all"), 0) << "the registry knows the volumes";
  EXPECT_EQ(mounts().find("/run/tarnvale/disk"), std::string::npos);
}

TEST_F(HelperTest, ASecondHelperTakesThePlaceOfTheFirst) {
  const auto folder = add("cache");
  Helper first({"--service"});
  ASSERT_TRUE(comesTrue([&] { return show("cache").find("\"mounted\"") != std::string::npos; }));
  Helper second({"--service"});
  EXPECT_EQ(first.end(), 0);
  EXPECT_TRUE(second.isRunning());
  EXPECT_TRUE(isMounted(folder));
  const std::string log = scratch.path("log");
  Helper third({"--no-menu", "-v", "FromApp"}, log);
  ASSERT_TRUE(
      comesTrue([&] { return readFile(log).find("list is followed") != std::string::npos; }));
  EXPECT_TRUE(second.isRunning()) << "a service saves at the end, whatever becomes of the menu";
  const Helper fourth({"--no-menu", "FromApp"});
  EXPECT_EQ(third.end(), 0);
  EXPECT_TRUE(second.isRunning());
}

TEST_F(HelperTest, AtLogoutWhatIsMountedIsSaved) {
  const auto folder = add("cache");
  const auto told = [this] {
    std::system(
        (std::string(TARNVALE_PROGRAM) + " session-save >'" + scratch.path("told") + "'").c_str());
    return readFile(scratch.path("told"));
  };
  EXPECT_NE(told().find("end on, but tarnvale-helper"), std::string::npos);
  Helper helper;
  ASSERT_TRUE(comesTrue([&] { return show("cache").find("\"mounted\"") != std::string::npos; }));
  EXPECT_EQ(told(), "saving at the session's end on\n");
  scratch.file("home/desk/cache/new", "new");
  helper.ask();
  EXPECT_EQ(helper.end(), 0);
  EXPECT_EQ(readFile(folder + " (Tarnvale Backup Base)/new"), "new");
  EXPECT_TRUE(isMounted(folder));
}

// The disk at hand is finished and remembered, the next is not begun.
TEST_F(HelperTest, AHelperWhoseActionRunsHasItsTime) {
  const std::string gate = scratch.path("gate");
  const std::string reached = scratch.path("reached");
  ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
  const auto command = scratch.executable(
      "command", "#!/bin/sh\n: > '" + reached + "'\nread line < '" + gate + "'\n");
  const auto first = add("first", "--post-command '" + command + "'");
  const auto second = add("second");
  Helper helper;
  ASSERT_TRUE(comesTrue([&] { return fs::exists(reached); }));
  helper.ask();
  std::this_thread::sleep_for(200ms);  // it would have ended long ago
  EXPECT_TRUE(helper.isRunning());
  std::ofstream(gate) << "go\n";
  EXPECT_EQ(helper.end(), 0);
  EXPECT_NE(show("first").find("\"mounted\""), std::string::npos) << show("first");
  EXPECT_TRUE(isMounted(first));
  EXPECT_FALSE(isMounted(second));
}

TEST_F(HelperTest, WhatItDoesNotKnowItRefuses) {
  EXPECT_EQ(Helper({"--what"}).end(), 2);
  EXPECT_EQ(Helper({"--version"}).end(), 0);
}

}  // namespace
