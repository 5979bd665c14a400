// A panel that people use, which draws the exported menu itself.

#include <cstdlib>

#include "tests/desktop/NotifierTest.h"

namespace {

namespace fs = std::filesystem;

constexpr int kRightButton = 3;
constexpr char kOnlyATray[] =
    "[General]\npanels=panel1\n"
    "[panel1]\nalignment=-1\niconSize=22\npanelSize=24\nplugins=tray\nposition=Top\nwidth=100\n"
    "width-percent=true\n"
    "[tray]\ntype=statusnotifier\n";

bool isInstalled() { return std::system("command -v lxqt-panel >/dev/null") == 0; }

class PanelTest : public NotifierTest {
 protected:
  void SetUp() override {
    if (!isInstalled()) GTEST_SKIP() << "'make desktops' brings the panel";
    panel_ = Companion({"lxqt-panel", "--config", scratch.file("panel.conf", kOnlyATray)});
  }

  // The item may still be on its way into the panel; the menu of that opens then.
  void openWith(int button) {
    EXPECT_TRUE(comesTrue([&] {
      if (isOpen()) return true;
      desktop.press("Escape");
      desktop.click(Desktop::kItemX, Desktop::kItemY, button);
      return comesTrue([&] { return isOpen(); }, std::chrono::seconds(2));
    })) << all();
  }
  // A menu that just opened passes over the first motion.
  void walkInto(const std::string& item, const std::string& holds) {
    const Thing thing = see(item);
    int moves = 0;
    EXPECT_TRUE(comesTrue([&] {
      if (!reader->find(holds)) desktop.moveTo(thing.middleX() - ++moves % 9, thing.middleY());
      return reader->find(holds).has_value();
    })) << all();
  }
  bool isOpen() { return reader->find("Quit Tarnvale Menu").has_value(); }

 private:
  Companion panel_;
};

TEST_F(PanelTest, ADayWithADisk) {
  const std::string folder = addBuild();
  Helper helper({"FromApp"});
  openWith(kRightButton);
  EXPECT_NE(see("my_build").name.find("Not created"), std::string::npos) << see("my_build").name;
  walkInto("my_build", "Create");
  desktop.keepPicture("panel");
  choose("Create");
  ASSERT_TRUE(isInState("my_build", "mounted"));

  openWith(kRightButton);
  EXPECT_NE(see("my_build").name.find("Mounted"), std::string::npos) << see("my_build").name;
  walkInto("my_build", "letters");
  walkInto("letters", "Remove this Folder");
  desktop.keepPicture("panel-browsing");
  choose("Remove this Folder");
  EXPECT_TRUE(comesTrue([&] { return !fs::exists(folder + "/letters"); }));
}

}  // namespace
