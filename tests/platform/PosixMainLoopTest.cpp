#include "platform/posix/PosixMainLoop.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "platform/posix/LocalNotifications.h"
#include "tests/support/MainLoopCases.h"

using platform::PosixMainLoop;

namespace loops {
INSTANTIATE_TYPED_TEST_SUITE_P(Posix, MainLoopCases, PosixMainLoop);
}

TEST(LocalNotifications, ReachObserversOfTheNameOnTheMainThread) {
  const auto loop = std::make_shared<PosixMainLoop>();
  platform::LocalNotifications center(loop);
  std::vector<std::string> seen;
  const auto note = [&](const char* who) {
    return [&seen, loop, who](const platform::Notification& one) {
      EXPECT_TRUE(loop->isMainThread());
      seen.push_back(std::string(who) + one.object + one.userInfo.at("key"));
    };
  };
  center.observe("name", note("first"));
  platform::Notifications::ObserverId removed = 0;
  const auto second = center.observe("name", [&](const platform::Notification& one) {
    note("second")(one);
    center.remove(removed);  // whose turn would come next
  });
  removed = center.observe("name", note("removed"));
  center.observe("other", note("other"));
  const auto gone = center.observe("name", note("gone"));
  std::thread([&] { center.post({"name", "A", {{"key", "1"}}}); }).join();
  center.remove(gone);  // before it is delivered
  center.post({"name", "B", {{"key", "2"}}});
  center.post({"none", "C", {}});
  loop->post([&] { center.remove(second); });
  loop->post([&] { center.post({"name", "D", {{"key", "3"}}}); });
  loop->post([&] { loop->post([&] { loop->stop(); }); });
  loop->run();
  EXPECT_EQ(seen,
            (std::vector<std::string>{"firstA1", "secondA1", "firstB2", "secondB2", "firstD3"}));
}
