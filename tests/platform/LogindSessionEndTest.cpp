#include "platform/linux/LogindSessionEnd.h"

#include <systemd/sd-bus.h>

#include "tests/support/Doubles.h"
#include "tests/support/LogindDouble.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TurningLoop.h"

using namespace platform;
using namespace std::chrono_literals;

namespace {

class LogindSessionEndTest : public testing::Test {
 protected:
  void startLogind() { logind = std::make_unique<LogindDouble>(bus.address(), 300ms); }
  std::unique_ptr<LogindSessionEnd> sessionEnd(const std::string& address) {
    return std::make_unique<LogindSessionEnd>(loop, log, address);
  }

  // Announcements are counted, and release what is held.
  void releaseWhenAnnounced() {
    ours->observe([this] {
      EXPECT_TRUE(loop->isMainThread());
      ++announced;
      ours->release();
    });
  }
  void holdUntilAnnounced() {
    startLogind();
    ASSERT_TRUE(ours->hold("saving"));
    releaseWhenAnnounced();
  }
  void announceUntilItGoesOn(const std::string& what) {
    logind->announce(what);
    loop->runUntil([&] { return logind->goesOn(); });
  }
  void runUntilHeld(std::size_t locks) {
    loop->runUntil([&] { return logind->held() == locks; });
  }

  PrivateBus bus;
  std::unique_ptr<LogindDouble> logind;
  std::shared_ptr<TurningLoop> loop = std::make_shared<TurningLoop>();
  std::shared_ptr<doubles::RecordingLog> log = std::make_shared<doubles::RecordingLog>();
  std::unique_ptr<LogindSessionEnd> ours = sessionEnd(bus.address());
  int announced = 0;
};

TEST_F(LogindSessionEndTest, HoldsAnnouncesAndReleases) {
  startLogind();
  EXPECT_TRUE(ours->hold("saving"));
  EXPECT_TRUE(ours->hold("again"));
  EXPECT_EQ(logind->granted(),
            std::vector<std::string>{"shutdown:sleep/Tarnvale-Helper/saving/delay"});
  EXPECT_EQ(logind->held(), 1U);
  ours->observe([] { ADD_FAILURE() << "was replaced"; });
  releaseWhenAnnounced();
  logind->announce("Shutdown");
  EXPECT_EQ(logind->held(), 1U) << "until it was saved";
  loop->runUntil([&] { return logind->goesOn(); });
  EXPECT_EQ(announced, 1);
  EXPECT_EQ(logind->held(), 0U);
  EXPECT_TRUE(ours->hold("more"));
  EXPECT_EQ(logind->granted().size(), 2U);
  ours.reset();
  runUntilHeld(0);
}

TEST_F(LogindSessionEndTest, HoldsAgainAfterSleepWhatWasHeld) {
  holdUntilAnnounced();
  for (int night = 1; night <= 3; ++night) {
    announceUntilItGoesOn("Sleep");
    EXPECT_EQ(announced, night);
    logind->refuses = true;
    EXPECT_FALSE(ours->hold("too late"));
    logind->refuses = false;
    logind->isOver("Sleep");
    runUntilHeld(1);
  }
  EXPECT_EQ(logind->granted().back(), "shutdown:sleep/Tarnvale-Helper/saving/delay");
  EXPECT_EQ(logind->granted().size(), 4U);

  ours->release();
  logind->announce("Sleep");
  logind->isOver("Sleep");
  logind->announce("Shutdown");
  loop->runUntil([&] { return announced == 5; });
  EXPECT_EQ(logind->held(), 0U) << "what was released before is not held again";
  EXPECT_EQ(logind->granted().size(), 4U);
}

TEST_F(LogindSessionEndTest, TakesNothingAnewThatWasNotLetGo) {
  startLogind();
  ASSERT_TRUE(ours->hold("saving"));
  ours->observe([&] { ++announced; });  // never done
  for (const int night : {1, 2}) {
    announceUntilItGoesOn("Sleep");
    EXPECT_EQ(announced, night);
    logind->isOver("Sleep");
  }
  EXPECT_EQ(logind->granted().size(), 1U);
  ours->observe(nullptr);
  announceUntilItGoesOn("Sleep");
  EXPECT_EQ(announced, 2);
}

TEST_F(LogindSessionEndTest, HoldsNothingWithoutLogind) {
  ours->observe([&] { ++announced; });
  EXPECT_FALSE(ours->hold("saving"));
  EXPECT_TRUE(log->entries().empty());
  const auto busless = sessionEnd("unix:path=/nonexistent");
  busless->observe([&] { ++announced; });
  EXPECT_FALSE(busless->hold("saving"));
  EXPECT_FALSE(busless->hold("saving"));
  EXPECT_EQ(log->count("no system bus"), 1U);
  EXPECT_FALSE(ours->hold("\xff"));
  startLogind();
  EXPECT_TRUE(logind->granted().empty()) << "a hold that failed is forgotten";
  EXPECT_TRUE(ours->hold("saving"));
  logind->announce("Shutdown");
  loop->runUntil([&] { return announced == 1; });
}

TEST_F(LogindSessionEndTest, OutlivesARestartOfLogindAndOfTheBus) {
  holdUntilAnnounced();
  logind.reset();
  startLogind();
  runUntilHeld(1);
  announceUntilItGoesOn("Sleep");
  EXPECT_EQ(announced, 1);
  logind->isOver("Sleep");
  runUntilHeld(1);

  logind.reset();
  bus.stop();
  bus.start();
  startLogind();
  runUntilHeld(1);
  announceUntilItGoesOn("Shutdown");
  EXPECT_EQ(announced, 2);
  EXPECT_EQ(logind->held(), 0U);
}

// Anybody may send a signal to a connection whose name he knows.
TEST_F(LogindSessionEndTest, BelievesNobodyButLogind) {
  holdUntilAnnounced();
  BusConnection other;
  ASSERT_EQ(openBus(bus.address(), BusOwner::Anybody, other), 0);
  for (int name = 0; name < 20; ++name) {  // one of them is ours
    sd_bus_message* made = nullptr;
    ASSERT_GE(sd_bus_message_new_signal(other.get(), &made, "/org/freedesktop/login1",
                                        "org.freedesktop.login1.Manager", "PrepareForSleep"),
              0);
    const BusMessage signal(made);
    ASSERT_GE(sd_bus_message_append(made, "b", 1), 0);
    const std::string to = ":1." + std::to_string(name);
    ASSERT_GE(sd_bus_send_to(other.get(), made, to.c_str(), nullptr), 0);
  }
  ASSERT_GE(
      sd_bus_call_method(other.get(), kBusDaemon, "/", kBusDaemon, "GetId", nullptr, nullptr, ""),
      0);
  announceUntilItGoesOn("Sleep");
  logind->isOver("Sleep");
  runUntilHeld(1);
  bool isLast = false;
  loop->post([&] { isLast = true; });
  loop->runUntil([&] { return isLast; });
  EXPECT_EQ(announced, 1);
}

}  // namespace
