#include "platform/qt/shell/ExportedItems.h"

#include "tests/shell/Desk.h"
#include "tests/shell/HandBuiltMenu.h"

using platform::qt::ExportedItems;

namespace {

class ExportedItemsTest : public DeskTest {
 protected:
  std::size_t rows() { return static_cast<std::size_t>(items_.layout(kRoot, 1, {}).children.size()); }

  static constexpr int kRoot = ExportedItems::kRoot;
  std::shared_ptr<HandBuiltMenu> menu_ = HandBuiltMenu::make();
  std::vector<int> filled_;
  ExportedItems items_{menu_->root, [this](int id) { filled_.push_back(id); }};
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
  items_.outdated();
  EXPECT_EQ(filled_, std::vector<int>{kRoot});

  items_.opened(kRoot);
  filled_.clear();
  menu_->disks = 4;
  items_.outdated();
  EXPECT_TRUE(filled_.empty()) << "it is open";
  items_.hide(kRoot);
  EXPECT_EQ(filled_, std::vector<int>{kRoot});
  EXPECT_EQ(rows(), before + 2);
  items_.opened(kRoot);
  filled_.clear();
  items_.hide(kRoot);
  EXPECT_TRUE(filled_.empty()) << "as it was shown";
}

}  // namespace
