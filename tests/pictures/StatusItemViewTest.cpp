// What the status item draws that no reference shows; RowPicturesTest has the rest.

#include "menu/StatusItemView.h"

#include "tests/pictures/ViewsTest.h"

namespace {

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

}  // namespace
