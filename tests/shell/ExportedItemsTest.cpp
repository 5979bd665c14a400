#include "platform/qt/shell/ExportedItems.h"

#include "tests/shell/Desk.h"
#include "tests/shell/HandBuiltMenu.h"

using platform::qt::ExportedItems;

namespace {

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
