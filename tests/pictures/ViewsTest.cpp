// What rows and the status item draw that no reference shows; RowPicturesTest has the rest.

#include "menu/Menu.h"
#include "menu/RamDiskMenuItemView.h"
#include "menu/StatusItemView.h"
#include "menu/View.h"
#include "system/QVMacInfo.h"
#include "tests/kinds/World.h"
#include "tests/support/RecordingGraphics.h"

namespace {

using doubles::RecordingCanvas;
using menu::RamDiskMenuItemView;

// One disk named "Work", and pictures that tell their names.
class ViewsTest : public testing::Test {
 protected:
  ViewsTest() {
    world.graphics = graphics;
    world.install(world.places);
    graphics->name("RamDisk_10.10_128", 128);
    for (const char* style : {"Color", "White", "Black", "Pressed"})
      graphics->name(std::string("TarnvaleStatusItem") + style, 18);
    disk->setName("Work");
  }

  void becomeDark() { world.defaults->strings["AppleInterfaceStyle"] = "dark"; }

  void mount(std::uint64_t size, std::uint64_t free) {
    disk->setStatus(QVRamDiskStatus_mounted);
    disk->setVolSize(size);
    disk->setVolFree(free);
  }

  std::shared_ptr<menu::RamDiskMenuItemView> row(QVRamDiskAction action = QVRamDiskActionNone,
                                                 QVRamDiskActionInfo info = {}) const {
    return std::make_shared<menu::RamDiskMenuItemView>(platform::Rect{0, 0, 260, 40}, *disk, action,
                                                       info);
  }

  static doubles::Calls drawn(menu::View& view) {
    doubles::RecordingCanvas canvas;
    view.display(canvas);
    return canvas.calls;
  }

  World world;
  std::shared_ptr<doubles::RecordingGraphics> graphics =
      std::make_shared<doubles::RecordingGraphics>();
  QVRamDiskPtr disk = QVRamDisk::init();
};

TEST_F(ViewsTest, ARowIsASnapshot) {
  mount(100, 75);
  const auto made = row();
  const auto before = drawn(*made);
  disk->setStatus(QVRamDiskStatus_notCreated);
  disk->setName("Other");
  disk->setVolFree(0);
  EXPECT_EQ(drawn(*made), before);
  EXPECT_EQ(made->accessibleName(), "Work, Mounted, 25 percent full");
}

TEST_F(ViewsTest, ARowTakesTheMenusFont) {
  const auto made = row();
  const auto item = std::make_shared<menu::MenuItem>();
  const auto list = std::make_shared<menu::Menu>();
  list->font = {15};
  list->addItem(item);
  item->view = made;
  made->enclosingMenuItem = item;
  EXPECT_EQ(drawn(*made).back(), "text 'Work' [0 0 180 18] 15 Text middle");
}

TEST_F(ViewsTest, OlderSystemsHaveBlackTitles) {
  world.machine->systemMajor = 10;
  world.machine->systemMinor = 9;
  QVMacInfo::forgetCachedAnswers();
  EXPECT_EQ(drawn(*row()).back(), "text 'Work' [0 0 180 18] 12 rgba 0 0 0 1 middle");
  world.machine->systemMajor = 11;
  QVMacInfo::forgetCachedAnswers();
}

TEST_F(ViewsTest, AWiderRowMovesItsTriangleAndWidensItsTexts) {
  const auto made = row(QVRamDiskActionEject, QVRamDiskActionInfo_ejecting);
  made->setFrameSize({300, 40});
  const auto calls = drawn(*made);
  EXPECT_EQ(calls[1], "fill M 279,24 L 288,19.5 L 279,15 Z rgba 0 0 0 1");
  EXPECT_EQ(calls[2], "at [60 12 220 18]");
  EXPECT_EQ(calls[4], "at [6 13 14 14]");
  EXPECT_EQ(calls[calls.size() - 2], "at [60 1 220 14]");
}

// A usage that no record gives must not reach the path as an angle.
TEST_F(ViewsTest, ThePieEndsAtItsRing) {
  const auto pie = [](double usage) {
    RecordingCanvas canvas;
    RamDiskMenuItemView::drawDiskUsage(canvas, usage, {6, 12}, false);
    return canvas.calls;
  };
  EXPECT_EQ(pie(-0.5), pie(0));
  EXPECT_EQ(pie(1e12), pie(1));
}

// The row is gone when the loop comes to it.
TEST_F(ViewsTest, TheSpinnerStartsWhenTheLoopComesToItIfThereIsStillARow) {
  auto made = row(QVRamDiskActionEject, QVRamDiskActionInfo_ejecting);
  int shown = 0;
  made->needsDisplay = [&] { ++shown; };
  made->updateForDisplay(true);
  EXPECT_FALSE(made->progressIndicator()->isAnimating());
  world.loop->fire();
  EXPECT_TRUE(made->progressIndicator()->isAnimating());
  EXPECT_EQ(shown, 1);
  made->updateForDisplay(false);
  world.loop->fire();
  EXPECT_FALSE(made->progressIndicator()->isAnimating());
  made->updateForDisplay(true);
  const auto outliving = made->progressIndicator();
  made.reset();
  world.loop->fire();
  EXPECT_EQ(world.loop->timerCount(), 0U);
  row()->updateForDisplay(true);
  EXPECT_EQ(world.loop->timerCount(), 0U) << "nothing to start";
}

TEST_F(ViewsTest, RowsSayWhatTheyShow) {
  EXPECT_EQ(row()->accessibleName(), "Work, Not created");
  disk->setStatus(QVRamDiskStatus_created);
  EXPECT_EQ(row()->accessibleName(), "Work, Created, not mounted");
  mount(1000, 1);
  EXPECT_EQ(row()->accessibleName(), "Work, Mounted, 100 percent full");
  mount(1000, 2000);
  EXPECT_LT(disk->diskUsage(), 0);
  EXPECT_EQ(row()->accessibleName(), "Work, Mounted, 0 percent full");
  EXPECT_EQ(row(QVRamDiskActionBackup, QVRamDiskActionInfo_backuping)->accessibleName(),
            "Work, Backing up…");
}

// --- The status item

struct Delegate : menu::StatusItemViewDelegate {
  void statusItemViewPressed(menu::StatusItemView& view) override {
    pressed += view.isPressed() ? 1 : 100;
  }
  int pressed = 0;
};

class StatusItemTest : public ViewsTest {
 protected:
  StatusItemTest() {
    view->setFrameSize({25, 22});
    view->needsDisplay = [this] { ++displays; };
  }
  std::string drawnImage() { return drawn(*view).back(); }
  static std::string image(const std::string& style) {
    return "image TarnvaleStatusItem" + style + " [3 2 18 18] from [0 0 18 18] over 1";
  }

  std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
  std::shared_ptr<menu::StatusItemView> view = menu::StatusItemView::initWithDelegate(delegate);
  int displays = 0;
};

TEST_F(StatusItemTest, TheStyleChoosesThePicture) {
  for (const auto& [style, light, dark] : {std::tuple(0, "Color", "Color"),
                                           {1, "Black", "White"},
                                           {2, "Black", "White"},
                                           {3, "Color", "Color"},
                                           {-1, "Color", "Color"}}) {
    world.defaults->strings.clear();
    view->setBadgeStyle(style);
    EXPECT_EQ(drawnImage(), image(light)) << style;
    becomeDark();
    EXPECT_EQ(drawnImage(), image(dark)) << style << ": seen at the next drawing";
  }
  EXPECT_EQ(displays, 5);
}

TEST_F(StatusItemTest, BothButtonsPressItAndTellTheDelegate) {
  view->mouseDown();
  EXPECT_TRUE(view->isPressed());
  EXPECT_EQ(delegate->pressed, 1);
  view->setIsPressed(false);
  view->rightMouseDown();
  EXPECT_TRUE(view->isPressed());
  EXPECT_EQ(delegate->pressed, 2);
  delegate.reset();
  view->mouseDown();
}

TEST_F(StatusItemTest, WithoutPicturesNothingIsDrawn) {
  graphics->named.clear();
  EXPECT_TRUE(drawn(*view).empty());
  world.bundle->texts = {};
  view->setIsWarn(true);
  EXPECT_TRUE(view->accessibleName().ends_with(", A RAM disk is nearly full"));
}

// --- Outlines

TEST(Paths, TrianglesPointWhereTheyAreTold) {
  const auto triangle = [](char sens) {
    return doubles::described(menu::qv_bezierPathTriangleInRect({10, 20, 8, 4}, sens));
  };
  EXPECT_EQ(triangle('r'), "M 10,24 L 18,22 L 10,20 Z");
  EXPECT_EQ(triangle('b'), "M 10,24 L 18,24 L 14,20 Z");
  EXPECT_EQ(triangle('t'), "M 10,20 L 12,24 L 18,20 Z") << "by half the height";
  for (const char sens : {'R', 'B', 'T'})
    EXPECT_EQ(triangle(sens), triangle(static_cast<char>(sens - 'A' + 'a')));
  EXPECT_EQ(triangle('l'), "");
  EXPECT_EQ(triangle('\0'), "");
}

TEST(Paths, TheBalloonHasRoundCornersAndAnArrow) {
  const auto balloon = menu::bezierPathWithRoundedRect({10, 20, 101, 51}, 3, 0, 5, 7, {20, 10});
  EXPECT_EQ(balloon.lineWidth, 3);
  EXPECT_EQ(doubles::described(balloon),
            "M 10,40 L 10,56 C 15,61 L 50,61 L 60,71 L 70,61 L 106,61 C 111,56 L 111,40 "
            "L 111,25 C 106,20 L 15,20 C 10,25 Z");
  EXPECT_EQ(menu::bezierPathWithRoundedRect({0, 0, 9, 9}, 0, 0, 1, 0, {2, 2}).lineWidth, 1);
}

TEST(Paths, APathGoesOnWhereAClosedOneBegan) {
  platform::Path path;
  path.moveTo({10, 0});
  path.lineTo({20, 0});
  path.close();
  path.appendArcFromPoint({10, 10}, {20, 10}, 4);
  EXPECT_EQ(doubles::described(path), "M 10,0 L 20,0 Z L 10,6 C 14,10");
  platform::Path straight;
  straight.moveTo({0, 0});
  straight.appendArcFromPoint({5, 0}, {9, 0}, 4);
  EXPECT_EQ(doubles::described(straight), "M 0,0 L 5,0") << "no arc touches a straight line";
}

}  // namespace
