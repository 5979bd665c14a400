#include <QAccessible>
#include <QMenu>
#include <QToolTip>

#include "platform/qt/shell/PopupMenu.h"
#include "tests/shell/Desk.h"
#include "tests/shell/HandBuiltMenu.h"

using platform::qt::PopupMenu;

namespace {

using Words = std::vector<std::string>;

class PopupTest : public DeskTest {
 protected:
  PopupTest() : menu_(HandBuiltMenu::make()), popup_(menu_->root) {}
  ~PopupTest() override { popup_.close(); }

  void open() {
    moveTo({1000, 760});
    popup_.popup({100, 50});
    ASSERT_TRUE(until([&] { return menu_->row && menu_->row->drawn > 0; }));
  }
  QAction* action(QMenu& shown, const QString& text) {
    for (QAction* each : shown.actions())
      if (each->text().contains(text)) return each;
    ADD_FAILURE() << "no " << text.toStdString();
    return nullptr;
  }
  static QPoint placeOf(QMenu& shown, QAction* action) {
    return shown.mapToGlobal(shown.actionGeometry(action).center());
  }
  PopupMenu* submenuOf(QAction* action) { return dynamic_cast<PopupMenu*>(action->menu()); }

  // Walks into the submenu of the row with this text.
  PopupMenu* walkInto(const QString& text) {
    QAction* row = action(popup_, text);
    int moves = 0;  // a menu passes over the first motion
    EXPECT_TRUE(until([&] {
      if (!submenuOf(row)->isVisible()) moveTo(placeOf(popup_, row) - QPoint(++moves % 9, 0));
      return submenuOf(row)->isVisible();
    })) << text.toStdString();
    return submenuOf(row);
  }

  std::shared_ptr<HandBuiltMenu> menu_;
  PopupMenu popup_;
};

TEST_F(PopupTest, FillsShowsAndClicksAsTheUserWalks) {
  open();
  EXPECT_EQ(menu_->told, (Words{"needsUpdate StatusItemMenu", "willOpen StatusItemMenu"}));
  PopupMenu* disk = walkInto("Disk2");
  EXPECT_TRUE(until([&] { return menu_->row->wasHighlighted; }));
  clickAt(placeOf(*disk, action(*disk, "Eject")));  // disabled
  clickAt(placeOf(*disk, action(*disk, "Rebuild")));
  EXPECT_TRUE(until([&] { return !menu_->clicked.empty(); }));
  EXPECT_EQ(menu_->clicked, Words{"Rebuild"});
  EXPECT_FALSE(popup_.isVisible());
  auto told = menu_->told;
  std::sort(told.begin(), told.end());
  EXPECT_EQ(told,
            (Words{"didClose StatusItemMenu", "didClose disk Disk2", "needsUpdate StatusItemMenu",
                   "needsUpdate disk Disk2", "willOpen StatusItemMenu", "willOpen disk Disk2"}));
  EXPECT_TRUE(until([&] { return popup_.actions().isEmpty(); }));  // nothing is kept
}

TEST_F(PopupTest, RunsTheActionOfARowThatHasASubmenuToo) {
  open();
  press("Down Down Down Return");  // past what is disabled
  EXPECT_TRUE(until([&] { return !menu_->clicked.empty(); }));
  EXPECT_EQ(menu_->clicked, Words{"Disk2"});
  menu_->clicked.clear();
  menu_->told.clear();
  open();
  clickAt(placeOf(popup_, action(popup_, "Disk1")));
  EXPECT_TRUE(until([&] { return !menu_->clicked.empty(); }));
  EXPECT_EQ(menu_->clicked, Words{"Disk1"});
  EXPECT_FALSE(popup_.isVisible());
  EXPECT_EQ(std::count(menu_->told.begin(), menu_->told.end(), "didClose StatusItemMenu"), 1);
}

TEST_F(PopupTest, SaysToEverybodyWhatItShows) {
  open();
  auto* free = action(popup_, "Free");
  EXPECT_EQ(free->text(), "      Free: 3_1 GB && more");
  EXPECT_FALSE(free->isEnabled());
  auto* accessible = QAccessible::queryAccessibleInterface(&popup_);
  ASSERT_NE(accessible, nullptr);
  ASSERT_EQ(accessible->childCount(), popup_.actions().size());
  EXPECT_EQ(accessible->child(3)->text(QAccessible::Name), "Disk1, mounted, 42 % full");
  EXPECT_EQ(accessible->child(2)->text(QAccessible::Name), "      Free: 3_1 GB & more");
  PopupMenu* disk = walkInto("Disk1");
  moveTo(placeOf(*disk, action(*disk, "Eject")));
  EXPECT_TRUE(until([] { return QToolTip::text() == "Browser is running"; }));
}

TEST_F(PopupTest, OutlivesWhatItShows) {
  open();
  PopupMenu* disk = walkInto("Disk1");
  menu_->root->removeAllItems();
  menu_->disks = 0;
  clickAt(placeOf(*disk, action(*disk, "Rebuild")));
  EXPECT_TRUE(until([&] { return !menu_->clicked.empty(); }));
  popup_.popup({100, 50});
  EXPECT_EQ(popup_.actions().size(), 5);
}

TEST_F(PopupTest, MakesMoreOfTenThousandEntriesAsItIsScrolledAndReachesAll) {
  open();
  PopupMenu* many = walkInto("many");
  const auto first = many->actions().size();
  const auto comesTo = [&](const QString& entry) {
    return until([&] { return many->activeAction() && many->activeAction()->text() == entry; });
  };
  press("Left Right");  // the first item deletes
  ASSERT_TRUE(comesTo("entry 0"));
  const QPoint middle = many->geometry().center();
  constexpr int kWheelDown = 5;
  EXPECT_TRUE(until([&] {
    screen().click(middle.x(), middle.y(), kWheelDown);
    return many->actions().size() > first;
  }));
  EXPECT_LT(many->actions().size(), 2000);
  press("End");
  EXPECT_TRUE(comesTo("entry 9999"));
  EXPECT_EQ(many->actions().size(), 10'002);
  press("Home Down");
  EXPECT_TRUE(comesTo("entry 0"));
  press("End Return");
  EXPECT_TRUE(until([&] { return !menu_->clicked.empty(); }));
  EXPECT_EQ(menu_->clicked, Words{"entry 9999"});
}

}  // namespace
