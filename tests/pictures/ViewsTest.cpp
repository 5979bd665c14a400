// What a row draws, call by call.

#include "tests/pictures/ViewsTest.h"
#include "menu/Menu.h"
#include "system/QVMacInfo.h"

namespace {

using doubles::Calls;
using doubles::RecordingCanvas;
using menu::RamDiskMenuItemView;

const std::string kIcon =
    "image RamDisk_10.10_128 as 128x128 as 32x32 [24 4 32 32] from [0 0 32 32] over 1";
const std::string kTriangle = "fill M 239,24 L 248,19.5 L 239,15 Z ";
const std::string kBlack = "rgba 0 0 0 1";
const std::string kWhite = "rgba 1 1 1 1";
const std::string kPieColour = "rgba 0.608 0.706 0.831 1";

TEST_F(ViewsTest, ARowOfADiskThatIsNotMountedHasNeitherPieNorSpinner) {
  for (const auto status : {QVRamDiskStatus_notCreated, QVRamDiskStatus_created}) {
    disk->setStatus(status);
    EXPECT_EQ(drawn(*row()), (Calls{kIcon, kTriangle + kBlack, "at [60 12 180 18]",
                                    "text 'Work' [0 0 180 18] 12 Text middle"}));
  }
}

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

TEST_F(ViewsTest, ABusyRowHasItsSpinnerAndTextInThePiesPlace) {
  mount(100, 20);
  const auto calls = drawn(*row(QVRamDiskActionEject, QVRamDiskActionInfo_ejecting));
  EXPECT_EQ(calls[1], kTriangle + kBlack);
  EXPECT_EQ(calls[2], "at [60 12 180 18]");
  EXPECT_EQ(calls[4], "at [6 13 14 14]");
  EXPECT_TRUE(calls[5].starts_with("stroke 1.5 "));
  EXPECT_EQ(calls[calls.size() - 2], "at [60 1 180 14]");
  EXPECT_EQ(calls.back(), "text 'Ejecting…' [0 0 180 14] 11 SecondaryText middle");
}

// On purpose: a disk that is backed up is the only one whose title stands higher.
TEST_F(ViewsTest, ABackupLiftsTheTitleByThreePoints) {
  mount(100, 20);
  EXPECT_EQ(drawn(*row(QVRamDiskActionBackup, QVRamDiskActionInfo_backuping))[2],
            "at [60 15 180 18]");
  EXPECT_EQ(drawn(*row(QVRamDiskActionSyncWithBase, QVRamDiskActionInfo_copyingToBase))[2],
            "at [60 12 180 18]");
}

TEST_F(ViewsTest, AHighlightedRowIsFilledFirstAndTakesTheMenusFont) {
  mount(100, 75);
  const auto made = row();
  const auto item = std::make_shared<menu::MenuItem>();
  const auto list = std::make_shared<menu::Menu>();
  list->font = {15};
  list->addItem(item);
  item->view = made;
  made->enclosingMenuItem = item;
  EXPECT_EQ(drawn(*made).back(), "text 'Work' [0 0 180 18] 15 Text middle");
  item->isHighlighted = true;
  const auto calls = drawn(*made);
  EXPECT_EQ(calls[0], "fill [0 0 260 40] SelectedMenuItem");
  EXPECT_EQ(calls[1], kIcon);
  EXPECT_TRUE(calls[2].ends_with(kWhite)) << "the pie's ring";
  EXPECT_EQ(calls[4], kTriangle + kWhite);
  EXPECT_EQ(calls.back(), "text 'Work' [0 0 180 18] 15 SelectedMenuItemText middle");
  item->isHighlighted = false;
  EXPECT_EQ(drawn(*made).back(), "text 'Work' [0 0 180 18] 15 Text middle");
}

TEST_F(ViewsTest, DarkAndGraphiteTogetherHighlightInGrey) {
  const auto item = std::make_shared<menu::MenuItem>();
  item->isHighlighted = true;
  const auto firstCall = [&] {
    const auto made = row();
    made->enclosingMenuItem = item;
    return drawn(*made)[0];
  };
  becomeDark();
  EXPECT_EQ(firstCall(), "fill [0 0 260 40] SelectedMenuItem");
  EXPECT_EQ(drawn(*row())[1], kTriangle + kWhite);
  becomeDark(true);
  EXPECT_EQ(firstCall(), "fill [0 0 260 40] rgba 0.5 0.5 0.5 0.5");
  world.defaults->strings.clear();
  EXPECT_EQ(firstCall(), "fill [0 0 260 40] SelectedMenuItem");
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
  EXPECT_EQ(calls[1], "fill M 279,24 L 288,19.5 L 279,15 Z " + kBlack);
  EXPECT_EQ(calls[2], "at [60 12 220 18]");
  EXPECT_EQ(calls[4], "at [6 13 14 14]");
  EXPECT_EQ(calls[calls.size() - 2], "at [60 1 220 14]");
}

TEST_F(ViewsTest, ThePieGrowsClockwiseFromTwelve) {
  const auto pie = [](double usage) {
    RecordingCanvas canvas;
    RamDiskMenuItemView::drawDiskUsage(canvas, usage, {6, 12}, false);
    return canvas.calls;
  };
  const std::string oval = "M 21,20 C 14,27 C 7,20 C 14,13 C 21,20 Z ";
  const std::string ring = "stroke 2 " + oval + kPieColour;
  EXPECT_EQ(pie(0), Calls{ring});
  EXPECT_EQ(pie(-0.5), Calls{ring});
  EXPECT_EQ(pie(1), (Calls{ring, "fill " + oval + kPieColour}));
  EXPECT_EQ(pie(1e12), pie(1));
  EXPECT_EQ(pie(0.25), (Calls{ring, "fill M 14,20 L 14,27 C 21,20 Z " + kPieColour}));
  EXPECT_EQ(pie(0.5)[1], "fill M 14,20 L 14,27 C 21,20 C 14,13 Z " + kPieColour);
  EXPECT_EQ(
      pie(0.8)[1],
      "fill M 14,20 L 14,27 C 20.657,22.163 C 18.114,14.337 C 9.886,14.337 C 7.343,22.163 Z " +
          kPieColour);
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
