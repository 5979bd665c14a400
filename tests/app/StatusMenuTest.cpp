#include "tests/app/AppTest.h"

namespace {

// The helper with its menu: both work on the same disks.
class StatusMenuTest : public AppTest {
 protected:
  StatusMenuTest() {
    loop->onSleep = [] { std::this_thread::sleep_for(std::chrono::milliseconds(5)); };
    listOf({"first"}, true);
  }
  // The desktop brings a program its own notifications too.
  void deliverPosted() const {
    for (const auto& notification : std::exchange(notifications->posted, {}))
      notifications->deliver(notification);
  }
  void click(const std::string& title) const {
    controller->statusMenu()->needsUpdate();
    for (const auto& row : controller->statusMenu()->items()) {
      if (!row->submenu) continue;
      row->submenu->needsUpdate();
      for (const auto& item : row->submenu->items())
        if (item->title == title) return item->click();
    }
    ADD_FAILURE() << "there is no " << title;
  }
};

TEST_F(StatusMenuTest, TheSessionsEndIsHeldAsItsActionsRequire) {
  const auto delegate = launched({"FromApp"});
  EXPECT_EQ(bar->item->menu, controller->statusMenu());
  EXPECT_FALSE(sessionEnd->held.has_value());
  click("Create");
  bool ejecting = false;
  loop->runUntil([&] {
    deliverPosted();
    if (controller->isBusy() || sessionEnd->held.has_value() == ejecting) return false;
    if (!std::exchange(ejecting, true)) click("Eject");
    return !sessionEnd->held;
  });
}

// Until then the file does not know what the action did, and a list read from it would not either.
TEST_F(StatusMenuTest, AnAnnouncedEndDoesNotReadTheListBeforeAnActionIsSaved) {
  const auto delegate = launched({"FromApp"});
  click("Create");
  const auto acting = controller->ramDiskEntries()->ramDisks()[0];
  while (acting->action() != QVRamDiskActionNone) std::this_thread::yield();
  scratch.file("home/desk/first/new", "new");
  sessionEnd->hold("as if it had heard of the disk");
  sessionEnd->announce();
  EXPECT_EQ(controller->ramDiskEntries()->ramDisks()[0], acting);
  loop->runUntil([this] { return !sessionEnd->held; });
  EXPECT_EQ(readFile(savedBase("first") + "/new"), "new");
}

TEST_F(StatusMenuTest, AtLoginADiskThatTheMenuWorksOnIsWaitedFor) {
  auto menus = ActionLock::takeIfFree(reread()->ramDisks()[0]->identifier());
  int passes = 0;
  bool madeTooEarly = false;
  loop->onSleep = [&] {
    madeTooEarly = madeTooEarly || isMounted(folder("first"));
    if (++passes == 3) menus.reset();
  };
  recover(launched());
  EXPECT_EQ(passes, 3);
  EXPECT_FALSE(madeTooEarly);
  EXPECT_TRUE(isMounted(folder("first")));
}

TEST_F(StatusMenuTest, TerminatingWaitsForWhatTheMenuStarted) {
  const auto delegate = launched({"FromApp"});
  loop->onSleep = [this] {
    while (controller->ramDiskEntries()->hasRunningAction()) std::this_thread::yield();
  };
  click("Create");
  delegate->terminate();
  EXPECT_EQ(reread()->ramDisks()[0]->status(), QVRamDiskStatus_mounted);
}

}  // namespace
