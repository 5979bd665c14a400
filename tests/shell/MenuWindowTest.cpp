#include "platform/qt/shell/PopupMenu.h"

#include "tests/shell/Desk.h"
#include "tests/shell/HandBuiltMenu.h"

using platform::qt::MenuWindow;

namespace {

class MenuWindowTest : public DeskTest {
 protected:
  std::shared_ptr<HandBuiltMenu> menu_ = HandBuiltMenu::make();
  MenuWindow window_{menu_->root};
};

TEST_F(MenuWindowTest, ShowsTheWholeMenu) {
  window_.show();
  EXPECT_TRUE(until([&] { return menu_->row && menu_->row->drawn > 0; }));
  EXPECT_EQ(window_.size(), window_.menu().sizeHint());
}

}  // namespace
