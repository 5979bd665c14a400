#include "ramdisk/ActionLock.h"
#include "tests/app/AppTest.h"
#include "tests/menu/StatusBarDouble.h"

namespace {

// The helper with its menu: both work on the same disks.
class StatusMenuTest : public AppTest {
 protected:
  StatusMenuTest() {
    loop->onSleep = [] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); };
  }
  // Does one thing after the other on the main loop: what is not so yet is tried again.
  void runSteps(const std::vector<std::function<bool()>>& steps) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    std::size_t at = 0;
    loop->runUntil([&] {
      while (at < steps.size() && steps[at]()) ++at;
      return at == steps.size() || std::chrono::steady_clock::now() > end;
    });
    EXPECT_EQ(at, steps.size()) << "waited in vain";
  }
  // The desktop brings a program its own notifications too.
  bool deliverPosted() {
    const auto posted = std::exchange(notifications->posted, {});
    for (const auto& notification : posted) notifications->deliver(notification);
    return !posted.empty();
  }
  bool click(const std::string& title) {
    controller->statusMenu()->needsUpdate();
    for (const auto& row : controller->statusMenu()->items()) {
      if (!row->submenu) continue;
      row->submenu->needsUpdate();
      for (const auto& item : row->submenu->items())
        if (item->title == title) return item->click(), true;
    }
    ADD_FAILURE() << "there is no " << title;
    return false;
  }
};

TEST_F(StatusMenuTest, ItKnowsWhatWasMadeAtLogin) {
  wantMenu(listOf({"first"}));
  const auto delegate = launched();
  EXPECT_EQ(bar->item->menu, controller->statusMenu());
  recover(delegate);
  EXPECT_EQ(controller->ramDiskEntries()->ramDisks()[0]->status(), QVRamDiskStatus_mounted);
}

TEST_F(StatusMenuTest, TheSessionsEndIsHeldAsItsActionsRequire) {
  wantMenu(listOf({"first"}));
  const auto delegate = launched({"FromApp"});
  EXPECT_FALSE(sessionEnd->held.has_value());
  runSteps({[&] { return click("Create"); }, [&] { return deliverPosted(); },
            [&] { return sessionEnd->held.has_value(); }, [&] { return !controller->isBusy(); },
            [&] { return click("Eject"); }, [&] { return deliverPosted(); },
            [&] { return !sessionEnd->held; }});
}

// Until then the file does not know what the action did, and a list read from it would not either.
TEST_F(StatusMenuTest, AnAnnouncedEndDoesNotReadTheListBeforeAnActionIsSaved) {
  wantMenu(listOf({"first"}));
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
  const auto list = listOf({"first"});
  wantMenu(list);
  QVErrorPtr error;
  std::optional<ActionLock> menus = ActionLock::take(list->ramDisks()[0]->identifier(), error);
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
  wantMenu(listOf({"first"}));
  const auto delegate = launched({"FromApp"});
  click("Create");
  delegate->terminate();
  EXPECT_EQ(reread()->ramDisks()[0]->status(), QVRamDiskStatus_mounted);
}

}  // namespace
