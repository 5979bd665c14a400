#include "tests/desktop/DesktopTest.h"

namespace {

class TrayTest : public DesktopTest {
 protected:
  // A disk over a folder with something to browse, not created.
  std::string addBuild(const std::string& more = {}) {
    std::string folder = scratch.directory("home/desk/build");
    scratch.file("home/desk/build/letters/first", "first");
    scratch.file("home/desk/build/objects/main.o", std::string(3'000'000, 'o'));
    EXPECT_EQ(run("add '" + folder + "' --size 200M " + more), 0);
    return folder;
  }
};

TEST_F(TrayTest, ADayWithADisk) {
  const std::string gate = scratch.path("gate");
  ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
  const auto command = scratch.executable("command", "#!/bin/sh\nread line < '" + gate + "'\n");
  const auto folder = addBuild("--post-command '" + command + "'");
  desktop.startPanel();
  Helper helper({"FromApp"});

  openMenu();
  EXPECT_NE(see("build").name.find("Not created"), std::string::npos) << see("build").name;
  walkInto("build", "Create");
  desktop.keepPicture("create");
  choose("Create");
  ASSERT_TRUE(comesTrue([&] { return isMounted(folder); }));

  openMenu();
  const Thing row = see("running the command");
  const QRect spinner(row.x + 6, row.y + 13, 14, 14);
  const QImage before = desktop.picture().copy(spinner);
  EXPECT_TRUE(comesTrue([&] { return desktop.picture().copy(spinner) != before; })) << "it turns";
  desktop.keepPicture("creating");
  closeMenu();
  std::ofstream(gate) << "go\n";
  ASSERT_TRUE(isInState("build", "mounted"));

  openMenu();
  EXPECT_NE(see("build").name.find("Mounted"), std::string::npos) << see("build").name;
  walkInto("build", "Synchronise Now");
  walkInto("letters", "Remove this Folder");
  desktop.keepPicture("browsing");
  choose("Remove this Folder");
  EXPECT_TRUE(comesTrue([&] { return !fs::exists(folder + "/letters"); }));
  EXPECT_TRUE(fs::exists(folder + "/objects/main.o"));

  openMenu();
  walkInto("build", "Eject");
  choose("Eject");
  ASSERT_TRUE(isInState("build", "notCreated"));
  EXPECT_FALSE(isMounted(folder));
  EXPECT_FALSE(fs::exists(folder + "/letters")) << "what was removed in memory is removed on disk";
  EXPECT_TRUE(fs::exists(folder + "/objects/main.o"));
  openMenu();
  choose("Quit Tarnvale Menu");
  EXPECT_EQ(helper.end(), 0);
}

TEST_F(TrayTest, WhatChangesBehindAnOpenMenu) {
  const auto folder = addBuild();
  ASSERT_EQ(run("create build"), 0);
  desktop.startPanel();
  Helper helper({"FromApp"});
  openMenu();
  walkInto("build", "letters");
  fs::remove_all(folder + "/letters");
  walkInto("letters", "(No File Here)");
  ASSERT_EQ(run("eject build"), 0);
  choose("Remove this Folder");
  EXPECT_TRUE(fs::exists(folder + "/objects")) << "nothing else is gone";

  ASSERT_EQ(run("create build"), 0);
  openMenu();
  walkInto("build", "objects");
  walkInto("objects", "Remove this Folder");
  ASSERT_EQ(run("eject build"), 0);
  ASSERT_EQ(run("remove build --yes"), 0);
  choose("Remove this Folder");
  EXPECT_TRUE(fs::exists(folder + "/objects/main.o")) << "it is on no disk any more";

  ASSERT_EQ(run("add '" + folder + "' --size 200M"), 0);
  openMenu();
  ASSERT_EQ(run("remove build --yes"), 0);
  walkInto("build", "Create");
  choose("Create");
  openMenu();
  see("No RamDisk");
  EXPECT_FALSE(isMounted(folder)) << "nobody would know of it";
  EXPECT_TRUE(helper.isRunning());
}

// Somebody who sees nothing of it does all with the keyboard.
TEST_F(TrayTest, TheKeyboardReachesEverything) {
  addBuild();
  desktop.startPanel();
  Helper helper({"FromApp"});
  openMenu();
  desktop.press("Up Up Right");
  see("Create");
  desktop.press("Return");
  ASSERT_TRUE(isInState("build", "mounted"));
  fs::remove_all(scratch.path("home/desk/build/objects"));
  openMenu();
  desktop.press("Up Up Right");
  see("letters");
  desktop.press("Up Right");
  see("first");
  desktop.press("Return");
  EXPECT_TRUE(isGone("first"));
  EXPECT_TRUE(fs::exists(scratch.path("home/desk/build/letters/first"))) << "it was opened";
  openMenu();
  desktop.press("Escape");
  EXPECT_TRUE(isGone("Quit Tarnvale Menu"));
}

}  // namespace
