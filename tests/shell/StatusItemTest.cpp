// The item in trays that come and go, and what it tells the desktop that draws its menu.

#include <future>

#include "menu/StatusItemView.h"
#include "platform/qt/shell/ExportedItems.h"
#include "platform/qt/shell/PopupMenu.h"
#include "platform/qt/shell/QtStatusBar.h"
#include "tests/shell/Desk.h"
#include "tests/shell/HandBuiltMenu.h"
#include "tests/support/TrayHostDouble.h"

namespace {

using platform::qt::ExportedItems;
using platform::qt::MenuWindow;

class StatusItemTest : public DeskTest {
 protected:
  StatusItemTest() {
    item_->setMenu(menu_->root);
    item_->setView(view_);
  }
  ~StatusItemTest() override {
    item_.reset();
    QDBusConnection::disconnectFromBus(kConnection);
  }

  // The host asks on the bus, the program answers here.
  template <class Ask>
  auto answered(const Ask& ask) {
    auto answer = std::async(std::launch::async, ask);
    EXPECT_TRUE(until(
        [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return answer.get();
  }
  // Twice, where the watcher comes while the item is on its way to offer itself.
  bool registers() {
    return until([&] { return tray_.registrations() > 0; });
  }
  static MenuWindow* window() {
    for (QWidget* each : QApplication::topLevelWidgets())
      if (auto* found = dynamic_cast<MenuWindow*>(each); found && found->isVisible()) return found;
    return nullptr;
  }
  static bool windowSays(const QString& text) {
    for (const QAction* each : window()->menu().actions())
      if (each->text().contains(text)) return true;
    return false;
  }

  static constexpr char kConnection[] = "item";
  PrivateBus bus_;
  TrayHostDouble tray_{bus_.address()};
  std::shared_ptr<HandBuiltMenu> menu_ = HandBuiltMenu::make();
  std::shared_ptr<menu::StatusItemView> view_ = menu::StatusItemView::initWithDelegate(nullptr);
  platform::qt::QtStatusBar bar_{
      {QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), kConnection), true,
       std::chrono::milliseconds(100)},
      [] {}};
  std::shared_ptr<menu::StatusItem> item_ = bar_.statusItemWithLength(0);
};

TEST_F(StatusItemTest, WithoutATrayTheMenuIsAWindow) {
  moveTo({1000, 760});  // not where the window comes up
  tray_.come(false);
  ASSERT_TRUE(until([&] { return window() && menu_->row && menu_->row->drawn > 0; }));
  EXPECT_EQ(window()->size(), window()->menu().sizeHint()) << "the whole menu";
  menu_->state = ", told";
  menu_->root->setNeedsUpdate();
  EXPECT_TRUE(until([] { return windowSays("Disk1, told"); }));
  menu_->state = ", seen";
  moveTo(window()->geometry().center());
  EXPECT_TRUE(until([] { return windowSays("Disk1, seen"); })) << "when the user comes to it";

  tray_.setHost(true);
  EXPECT_TRUE(until([] { return window() == nullptr; })) << "a tray came";
  tray_.leave();
  ASSERT_TRUE(until([] { return window() != nullptr; }));
  window()->close();
  EXPECT_EQ(window(), nullptr);
  tray_.come();
  EXPECT_TRUE(registers()) << "closing it ended nothing";
  EXPECT_EQ(services.log->count("This desktop has no tray"), 1U);
}

TEST_F(StatusItemTest, ToldToTheDesktopIsWhatAnItemHasAndHasNoMore) {
  menu_->tip = "not to be opened";
  tray_.come();
  ASSERT_TRUE(registers());
  const auto disk = [&] { return answered([&] { return tray_.opened(0); }).find("Disk1"); };
  const MenuLine before = disk();
  EXPECT_EQ(before.text("accessible-desc"), "not to be opened");
  EXPECT_EQ(answered([&] { return tray_.event(0, "closed"); }).error, "");
  menu_->tip.reset();
  menu_->state = ", ejected";
  menu_->root->setNeedsUpdate();
  ASSERT_TRUE(until([&] { return tray_.told("ItemsPropertiesUpdated") > 0; }));
  EXPECT_EQ(tray_.lostBy(before.id), std::vector<std::string>{"accessible-desc"});
  const MenuLine after = disk();
  EXPECT_EQ(after.id, before.id);
  EXPECT_EQ(after.text("accessible-desc"), "");
  EXPECT_EQ(after.text("label"), "Disk1, ejected");
}

class ExportedItemsTest : public DeskTest {
 protected:
  std::size_t rows() {
    return static_cast<std::size_t>(items_.layout(kRoot, 1, {}).children.size());
  }

  static constexpr int kRoot = ExportedItems::kRoot;
  std::shared_ptr<HandBuiltMenu> menu_ = HandBuiltMenu::make();
  std::vector<int> filled_;
  std::vector<int> changed_;
  ExportedItems items_{menu_->root,
                       {[this](int id) { filled_.push_back(id); },
                        [this](const ExportedItems::Changes& changes) {
                          for (const auto& each : changes.set) changed_.push_back(each.id);
                        }}};
};

TEST_F(ExportedItemsTest, AreReplacedWhenOutdatedButNotUnderThePointer) {
  items_.outdated();
  EXPECT_TRUE(filled_.empty()) << "nobody has it yet";
  const auto before = rows();
  filled_.clear();

  menu_->disks = 3;
  items_.outdated();
  EXPECT_EQ(filled_, std::vector<int>{kRoot});
  EXPECT_EQ(rows(), before + 1);

  items_.show(kRoot);  // for all one knows since long gone
  filled_.clear();
  menu_->disks = 4;
  items_.outdated();
  EXPECT_EQ(filled_, std::vector<int>{kRoot});

  items_.opened(kRoot);
  filled_.clear();
  menu_->disks = 5;
  items_.outdated();
  EXPECT_TRUE(filled_.empty()) << "it is open";
  items_.hide(kRoot);
  EXPECT_EQ(filled_, std::vector<int>{kRoot});
  EXPECT_EQ(rows(), before + 3);
  items_.opened(kRoot);
  filled_.clear();
  items_.hide(kRoot);
  EXPECT_TRUE(filled_.empty()) << "as it was shown";
}

TEST_F(ExportedItemsTest, TellWhatChangedOfThoseThatStay) {
  const auto top = [this] { return items_.layout(kRoot, 1, {}).children; };
  const auto before = top();
  const int disk = before[3].id;
  items_.show(disk);
  const int below = items_.layout(disk, 1, {}).children[0].id;
  filled_.clear();

  menu_->state = ", ejected";
  EXPECT_FALSE(items_.show(kRoot)) << "the same as before";
  EXPECT_EQ(top()[3].id, disk);
  EXPECT_NE(std::find(changed_.begin(), changed_.end(), disk), changed_.end());
  EXPECT_EQ(std::find(changed_.begin(), changed_.end(), before[0].id), changed_.end());
  EXPECT_EQ(filled_, std::vector<int>{disk}) << "to be looked into anew";
  EXPECT_FALSE(items_.has(below));

  menu_->entries = 2;
  const int many = top()[before.size() - 2].id;
  items_.show(many);
  QStringList shown;
  for (const auto& each : items_.layout(many, 1, {}).children)
    shown << each.properties.value("label", "---").toString();
  EXPECT_EQ(shown, (QStringList{"entry 0", "entry 1", "---", "Remove this Folder"}))
      << "a key that opens it chooses the first";
}

}  // namespace
