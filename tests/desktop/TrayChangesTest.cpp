// Where the item shows when trays come and go, and how.

#include "tests/desktop/NotifierTest.h"

namespace {

using TrayChangesTest = NotifierTest;

TEST_F(TrayChangesTest, TheItemMovesAsTraysComeAndGo) {
  const auto corner = [&] { return desktop.picture().copy(0, 0, 24, 24); };
  addBuild();
  tray.come(false);  // such as left behind by another desktop's services
  Helper helper({"FromApp"});
  registers();
  desktop.startPanel();
  openMenu();
  closeMenu();
  const QImage inPanel = corner();
  tray.setHost(true);
  EXPECT_TRUE(comesTrue([&] { return corner() != inPanel; })) << "it shows once";
  EXPECT_NE(disk().id, 0);
  tray.leave();
  openMenu();
  closeMenu();
  desktop.stopPanel();
  desktop.startPanel();
  openMenu();
  closeMenu();
  tray.come();
  registers();
  EXPECT_NE(disk().id, 0);
  EXPECT_TRUE(helper.isRunning());
}

TEST_F(TrayChangesTest, ActivatedItShowsTheMenuAtThePlace) {
  addBuild();
  tray.come();
  Helper helper({"FromApp"});
  registers();
  tray.activate(300, 100);
  comesTrue([&] {  // what has the keyboard is told to a screen reader
    desktop.press("Down");
    return reader->find("my_build").has_value();
  });
  const Thing row = see("my_build");
  EXPECT_GE(row.x, 300);
  EXPECT_LT(row.x, 320);
  EXPECT_GE(row.y, 100);
  closeMenu();
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
