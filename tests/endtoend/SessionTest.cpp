// The command line and another program of the user's session.

#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/linux/LinuxNotifications.h"
#include "tests/support/Doubles.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TurningLoop.h"

namespace {

// Runs what must succeed.
void run(const std::string& arguments) {
  EXPECT_EQ(std::system((std::string(TARNVALE_PROGRAM) + " " + arguments + " >/dev/null").c_str()),
            0)
      << arguments;
}

}  // namespace

TEST(SessionTest, AChangeIsToldAtOnceAndAQuestionReachesForNoBus) {
  PrivateBus bus;
  const Scratch home;
  setenv("HOME", home.path().c_str(), 1);
  for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"}) unsetenv(name);
  setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
  const auto loop = std::make_shared<TurningLoop>();
  platform::LinuxNotifications helper(loop, std::make_shared<doubles::RecordingLog>(),
                                      bus.address());
  std::vector<std::string> senders;
  helper.observe("QVRamDiskEntriesDidChangeToAllNotification",
                 [&](const platform::Notification& one) { senders.push_back(one.object); });
  run("add '" + home.directory("desk/cache") + "' --size 200M");
  const auto done = std::chrono::steady_clock::now();
  loop->runUntil([&] { return !senders.empty(); });
  EXPECT_LT(std::chrono::steady_clock::now() - done, std::chrono::seconds(1));
  EXPECT_EQ(senders, std::vector<std::string>{"Tarnvale-App"});

  bus.hang();  // who connects now waits
  const auto start = std::chrono::steady_clock::now();
  run("list");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
  bus.goOn();
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
}
