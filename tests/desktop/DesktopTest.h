#pragma once
// The program as people use it on a desktop: real processes, a real screen with a panel, real
// disks. What shows is found as a screen reader finds it, and reached with pointer and keyboard.

#include "tests/endtoend/HelperTest.h"
#include "tests/support/Desktop.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ScreenReader.h"
#include "tests/support/Test.h"

class DesktopTest : public HelperTest {
 protected:
  DesktopTest() {
    setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
    setenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1", 1);
    setenv("XDG_RUNTIME_DIR", scratch.directory("runtime").c_str(), 1);
    chmod(scratch.path("runtime").c_str(), 0700);
    reader = std::make_unique<ScreenReader>(bus.address());
    EXPECT_EQ(run("menu-bar on"), 0);
  }

  using Thing = ScreenReader::Thing;

  // What shows under that name; waits for it. A test that uses what never came ends there.
  Thing see(const std::string& name) {
    std::optional<Thing> thing;
    comesTrue([&] { return (thing = reader->find(name)).has_value(); });
    if (!thing) ADD_FAILURE() << "nothing shows as \"" << name << "\" but\n" << all();
    return thing.value_or(Thing{});
  }
  bool isGone(const std::string& name) {
    return comesTrue([&] { return !reader->find(name); });
  }
  void point(const std::string& name) {
    const Thing thing = see(name);
    desktop.moveTo(thing.middleX(), thing.middleY());
  }
  void choose(const std::string& name) {
    const Thing thing = see(name);
    desktop.click(thing.middleX(), thing.middleY());
  }
  // Opens a submenu by its item, and waits for what it must hold.
  void walkInto(const std::string& item, const std::string& holds) {
    point(item);
    see(holds);
  }

  // The menu pops up at the item; the item may still be on its way into the panel.
  void openMenu() {
    comesTrue([&] {
      if (reader->find("Quit Tarnvale Menu")) return true;
      desktop.click(Desktop::kItemX, Desktop::kItemY);
      return comesTrue([&] { return reader->find("Quit Tarnvale Menu").has_value(); },
                       std::chrono::seconds(1));
    });
    see("Quit Tarnvale Menu");
  }
  void closeMenu() {
    while (reader->find("Quit Tarnvale Menu")) {
      desktop.press("Escape");
      comesTrue([&] { return !reader->find("Quit Tarnvale Menu"); }, std::chrono::seconds(1));
    }
  }

  bool isInState(const std::string& disk, const std::string& state) {
    return comesTrue([&] { return show(disk).find("\"" + state + "\"") != std::string::npos; });
  }

  std::string all() {
    std::string text;
    for (const auto& thing : reader->things()) text += thing.role + ": " + thing.name + "\n";
    return text;
  }

  PrivateBus bus;
  Desktop desktop;
  std::unique_ptr<ScreenReader> reader;
};
