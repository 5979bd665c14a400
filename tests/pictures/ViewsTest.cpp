// What a row draws that no reference shows; RowPicturesTest has the rest.

#include "tests/pictures/ViewsTest.h"
#include "menu/Menu.h"
#include "system/QVMacInfo.h"

namespace {

using doubles::RecordingCanvas;
using menu::RamDiskMenuItemView;

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

}  // namespace
