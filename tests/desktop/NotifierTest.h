#pragma once
// The item in a tray that is reached over the bus, and the menu that the desktop draws then.

#include <filesystem>
#include <string>

#include "tests/desktop/DesktopTest.h"
#include "tests/support/TrayHostDouble.h"

class NotifierTest : public DesktopTest {
 protected:
  std::string addBuild(const std::string& size = "200M") {
    const std::string folder = scratch.directory("home/desk/my_build");
    scratch.file("home/desk/my_build/letters/first", "first");
    scratch.file("home/desk/my_build/objects/main.o", std::string(3'000'000, 'o'));
    EXPECT_EQ(run("add '" + folder + "' --size " + size), 0);
    return folder;
  }

  void registers(std::size_t times = 1) {
    ASSERT_TRUE(comesTrue([&] { return tray.registrations() >= times; }));
  }

  MenuLine disk() { return tray.opened(0).find("my__build"); }
  // What is below the disk, opened as a desktop opens it.
  MenuLine inDisk() { return tray.opened(disk().id); }
  void click(const MenuLine& line) {
    ASSERT_NE(line.id, 0);
    EXPECT_EQ(tray.event(line.id, "clicked").error, "");
    tray.event(0, "closed");
  }

  TrayHostDouble tray{bus.address()};
};
