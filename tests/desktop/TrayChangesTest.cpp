// Where the item shows when trays come and go, and how.

#include "tests/desktop/NotifierTest.h"
#include "tests/support/WindowClosing.h"

namespace {

// A tray is given a while to come before the menu becomes a window.
constexpr std::chrono::seconds kUntilWindow(60);

std::size_t countOf(const std::string& part, const std::string& text) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

class TrayChangesTest : public NotifierTest {
 protected:
  // It is told to a screen reader when the user comes to it.
  bool windowShows() {
    return comesTrue(
        [&] {
          desktop.moveTo(60 + ++moves_ % 9, 180);
          return reader->find("my_build").has_value();
        },
        kUntilWindow);
  }

  int moves_ = 0;
};

TEST_F(TrayChangesTest, TraysThatComeAndGo) {
  addBuild();
  desktop.startPanel();
  Helper helper({"FromApp"});
  openMenu();
  closeMenu();
  const QImage inPanel = desktop.picture().copy(0, 0, 24, 24);
  tray.come();
  registers();
  EXPECT_TRUE(comesTrue([&] { return desktop.picture().copy(0, 0, 24, 24) != inPanel; }))
      << "it shows once";
  EXPECT_NE(disk().id, 0);
  tray.leave();
  openMenu();
  closeMenu();
  tray.come();
  registers();
  EXPECT_NE(disk().id, 0);
  EXPECT_TRUE(helper.isRunning());
}

// Such as left behind by another desktop's services.
TEST_F(TrayChangesTest, APanelIsUsedBesideAWatcherWithoutAHost) {
  addBuild();
  tray.come(false);
  desktop.startPanel();
  Helper helper({"FromApp"});
  registers();
  openMenu();
  closeMenu();
  const QImage inPanel = desktop.picture().copy(0, 0, 24, 24);
  tray.setHost(true);
  EXPECT_TRUE(comesTrue([&] { return desktop.picture().copy(0, 0, 24, 24) != inPanel; }));
  tray.setHost(false);
  openMenu();
}

TEST_F(TrayChangesTest, ActivatedItShowsTheMenuAtThePlace) {
  addBuild();
  tray.come();
  Helper helper({"FromApp"});
  registers();
  tray.activate(300, 200);
  comesTrue([&] {  // what has the keyboard is told to a screen reader
    desktop.press("Down");
    return reader->find("my_build").has_value();
  });
  const Thing row = see("my_build");
  EXPECT_GE(row.x, 300);
  EXPECT_LT(row.x, 320);
  EXPECT_GE(row.y, 200);
  closeMenu();
}

TEST_F(TrayChangesTest, WithoutATrayTheMenuIsAWindow) {
  addBuild();
  const std::string log = scratch.path("log");
  tray.come(false);
  Helper helper({"FromApp"}, log);
  EXPECT_TRUE(windowShows()) << all();
  desktop.keepPicture("window");
  EXPECT_EQ(countOf("This desktop has no tray", readFile(log)), 1U) << readFile(log);
  ASSERT_EQ(run("create my_build"), 0);
  EXPECT_TRUE(comesTrue([&] {  // a pointer that stays in it, and on no disk
    desktop.moveTo(60 + ++moves_ % 9, 12);
    return reader->find("my_build, Mounted").has_value();
  })) << all();
  tray.setHost(true);
  EXPECT_TRUE(isGone("my_build")) << "a tray came";
  EXPECT_NE(disk().id, 0);
  tray.leave();
  EXPECT_TRUE(windowShows()) << all();
  EXPECT_EQ(closeWindows("Tarnvale"), 1);
  EXPECT_TRUE(isGone("my_build"));
  EXPECT_TRUE(helper.isRunning());
  EXPECT_EQ(countOf("This desktop has no tray", readFile(log)), 1U) << readFile(log);
}

TEST_F(TrayChangesTest, ANearlyFullDiskIsSeenInTheTray) {
  const auto isRed = [](const BusValue& item, const char* property) {
    const std::string& pixels = item.find(property)->parts.at(0).parts.at(2).text;
    return pixels.find("\xff\xff\0\0", 0, 4) != std::string::npos;
  };
  const std::string folder = addBuild("128M");
  tray.come();
  Helper helper({"FromApp"});
  registers();
  EXPECT_FALSE(isRed(tray.properties(), "IconPixmap"));
  scratch.file("home/desk/my_build/much", std::string(80'000'000, 'm'));
  click(inDisk().find("Create"));
  ASSERT_TRUE(isInState("my_build", "mounted"));
  scratch.file("home/desk/my_build/more", std::string(30'000'000, 'm'));
  click(inDisk().find("Synchronise Now"));
  ASSERT_TRUE(comesTrue([&] { return tray.lastStatus() == "NeedsAttention"; }));
  const BusValue item = tray.properties();
  EXPECT_EQ(item.textOf("Status"), "NeedsAttention");
  EXPECT_TRUE(isRed(item, "IconPixmap"));
  EXPECT_TRUE(isRed(item, "AttentionIconPixmap"));
  EXPECT_NE(item.find("ToolTip")->parts.at(3).text.find("nearly full"), std::string::npos);
  bool isEjected = false;  // once the menu's save is over
  EXPECT_TRUE(comesTrue([&] { return isEjected = isEjected || run("eject my_build") == 0; }));
  EXPECT_TRUE(comesTrue([&] { return tray.lastStatus() == "Active"; }));
}

}  // namespace
