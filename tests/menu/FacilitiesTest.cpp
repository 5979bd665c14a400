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

TEST(FacilitiesTest, AMenuIsFilledByItsBlockOnce) {
  int fillings = 0;
  const auto made = QVNSMenuLoaderBk::menuWithTitle<OtherMenu>("lazy", false, [&](Menu& menu) {
    menu.addItem(MenuItem::qv_menuItem("filled " + std::to_string(++fillings), {}, {}, true));
  });
  made->setRepresentedObject(7);
  made->addItem(MenuItem::separatorItem());
  const auto early = made->copy();
  EXPECT_EQ(early->items().size(), 1U);
  for (int opening = 0; opening < 2; ++opening) made->needsUpdate();
  ASSERT_EQ(made->items().size(), 1U);
  EXPECT_EQ(made->qv_lastItem()->title, "filled 1");
  const auto late = made->copy();
  EXPECT_EQ(late->qv_lastItem()->title, "filled 1");
  EXPECT_NE(late->qv_lastItem(), made->qv_lastItem());
  late->needsUpdate();
  EXPECT_EQ(late->qv_lastItem()->title, "filled 2") << "a copy is filled anew";
  EXPECT_EQ(std::any_cast<int>(late->representedObject()), 7);
  EXPECT_EQ(late->title(), "lazy");
  EXPECT_FALSE(late->autoenablesItems);
  early->needsUpdate();
  EXPECT_EQ(early->qv_lastItem()->title, "filled 3");
  QVNSMenuLoaderBk::menuWithTitle("without", true, {})->needsUpdate();
}

TEST(FacilitiesTest, AnItemPerformsItsBlock) {
  const auto item = std::make_shared<QVNSMenuItemBk>();
  std::vector<MenuItem*> clicked;
  item->setActionBk([&](MenuItem& sender) { clicked.push_back(&sender); });
  EXPECT_EQ(item->action.name, "mi_performMyAction:");
  item->click();
  const auto copied = item->copy();
  item->setActionBk({});
  item->click();
  copied->click();
  EXPECT_EQ(clicked, (std::vector<MenuItem*>{item.get(), copied.get()}));
  copied->isEnabled = false;
  copied->click();
  EXPECT_EQ(clicked.size(), 2U);
}

// Its action may drop the item that is clicked, with the menu that it is in.
TEST(FacilitiesTest, AClickOutlivesItsItem) {
  Menu menu;
  const auto add = [&] {
    auto item = std::make_shared<QVNSMenuItemBk>();
    item->setActionBk([&menu](MenuItem& sender) {
      menu.removeAllItems();
      sender.title += "still here";
      EXPECT_EQ(sender.title, "still here");
    });
    menu.addItem(item);
    return item.get();
  };
  add()->click();
  EXPECT_TRUE(menu.items().empty());
}

}  // namespace
