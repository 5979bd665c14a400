#include <gtest/gtest.h>

#include "menu/Menu.h"

namespace {

using menu::Menu;
using menu::MenuItem;
using menu::QVNSMenuItemBk;
using menu::QVNSMenuLoaderBk;

class OtherMenu : public QVNSMenuLoaderBk {
 public:
  using QVNSMenuLoaderBk::QVNSMenuLoaderBk;
};

TEST(FacilitiesTest, AMenuIsFilledByItsBlockOnceAndItsCopyAnew) {
  int fillings = 0;
  const auto made = QVNSMenuLoaderBk::menuWithTitle<OtherMenu>("lazy", false, [&](Menu& menu) {
    menu.addItem(MenuItem::qv_menuItem("filled " + std::to_string(++fillings), {}, {}, true));
  });
  made->setRepresentedObject(7);
  made->addItem(MenuItem::separatorItem());
  for (int opening = 0; opening < 2; ++opening) made->needsUpdate();
  ASSERT_EQ(made->items().size(), 1U);
  EXPECT_EQ(made->qv_lastItem()->title, "filled 1");
  const auto copied = made->copy();
  EXPECT_EQ(copied->qv_lastItem()->title, "filled 1");
  EXPECT_NE(copied->qv_lastItem(), made->qv_lastItem());
  copied->needsUpdate();
  EXPECT_EQ(copied->qv_lastItem()->title, "filled 2");
  EXPECT_EQ(std::any_cast<int>(copied->representedObject()), 7);
  EXPECT_EQ(copied->title(), "lazy");
  EXPECT_FALSE(copied->autoenablesItems);
  QVNSMenuLoaderBk::menuWithTitle("without", true, {})->needsUpdate();
}

TEST(FacilitiesTest, AnItemPerformsItsBlockAndMayGoMeanwhile) {
  Menu menu;
  const auto item = std::make_shared<QVNSMenuItemBk>();
  std::vector<const MenuItem*> clicked;
  item->setActionBk([&](MenuItem& sender) {
    menu.removeAllItems();
    clicked.push_back(&sender);
    sender.title += "still here";
  });
  menu.addItem(item);
  const auto copied = item->copy();
  item->click();
  item->setActionBk({});
  item->click();
  copied->click();
  copied->isEnabled = false;
  copied->click();
  EXPECT_EQ(clicked, (std::vector<const MenuItem*>{item.get(), copied.get()}));
  menu.addItem(copied->copy());
  menu.items()[0]->isEnabled = true;
  menu.items()[0]->click();
  EXPECT_TRUE(menu.items().empty());
}

}  // namespace
