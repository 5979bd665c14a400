#include "platform/posix/PosixMainLoop.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

#include "platform/posix/LocalNotifications.h"

using namespace std::chrono_literals;
using platform::PosixMainLoop;

TEST(PosixMainLoop, RunsTasksInOrderAndTimersWhenDue) {
  PosixMainLoop loop;
  std::vector<int> order;
  const auto start = std::chrono::steady_clock::now();
  loop.after(20ms, [&] { loop.stop(); });
  loop.after(10ms, [&] { order.push_back(5); });
  loop.after(5ms, [&] { order.push_back(4); });
  for (int i = 0; i < 3; ++i) loop.post([&order, i] { order.push_back(i); });
  loop.post([&] { loop.post([&] { order.push_back(3); }); });
  loop.run();
  EXPECT_EQ(order, (std::vector{0, 1, 2, 3, 4, 5}));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
}

TEST(PosixMainLoop, WaitsForTasksOfOtherThreads) {
  PosixMainLoop loop;
  EXPECT_TRUE(loop.isMainThread());
  constexpr int kThreads = 8;
  constexpr int kTasks = 100;
  int sum = 0;  // only ever touched on the main thread
  int ended = 0;
  int seenDone = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      EXPECT_FALSE(loop.isMainThread());
      for (int i = 0; i < kTasks; ++i) {
        bool done = false;
        loop.postAndWait([&] { done = loop.isMainThread() && ++sum > 0; });
        loop.post([&seenDone, done] { seenDone += done ? 1 : 0; });
      }
      loop.post([&] {
        if (++ended == kThreads) loop.stop();
      });
    });
  }
  loop.run();
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(sum, kThreads * kTasks);
  EXPECT_EQ(seenDone, kThreads * kTasks);
}

TEST(PosixMainLoop, RunsAtOnceWhatTheMainThreadWaitsFor) {
  PosixMainLoop loop;
  std::vector<int> order;
  loop.post([&] {
    loop.post([&] { loop.stop(); });
    loop.postAndWait([&] { loop.postAndWait([&] { order.push_back(1); }); });
    order.push_back(2);
  });
  loop.run();
  EXPECT_EQ(order, (std::vector{1, 2}));
}

TEST(PosixMainLoop, ReleasesWaitersWhenStopped) {
  PosixMainLoop loop;
  loop.post([&] { loop.stop(); });
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      loop.postAndWait([] { ADD_FAILURE() << "ran on a stopped loop"; });
      loop.postAndWait([] { ADD_FAILURE() << "ran on a stopped loop"; });
    });
  }
  loop.run();
  for (auto& thread : threads) thread.join();
}

TEST(PosixMainLoop, WakesWhenAnotherThreadStopsIt) {
  for (int i = 0; i < 100; ++i) {
    PosixMainLoop loop;
    std::thread stopping([&] {
      loop.postAndWait([] {});  // it runs, with nothing to do after this
      loop.stop();
    });
    loop.run();
    stopping.join();
  }
}

TEST(PosixMainLoop, DropsEverythingOnceStopped) {
  auto held = std::make_shared<int>(0);
  PosixMainLoop loop;
  // What a dropped task holds may use the loop when it goes.
  const std::shared_ptr<int> posts(new int(0), [&](const int* value) {
    loop.post([] { ADD_FAILURE(); });
    std::default_delete<const int>()(value);
  });
  loop.post([held, posts] { ++*held; });
  loop.every(1ms, [held] { ++*held; });
  loop.stop();
  loop.after(0ms, [held] { ++*held; });
  loop.post([held] { ++*held; });
  EXPECT_EQ(held.use_count(), 1);
  loop.run();
  EXPECT_EQ(*held, 0);
}

TEST(PosixMainLoop, RepeatsUntilCancelledAndLeavesOutMissedBeats) {
  PosixMainLoop loop;
  std::vector<std::int64_t> beats;  // counted in intervals from the start
  platform::MainLoop::TimerId timer = 0;
  const auto start = std::chrono::steady_clock::now();
  timer = loop.every(30ms, [&] {
    beats.push_back((std::chrono::steady_clock::now() - start) / 30ms);
    if (beats.size() < 3) return;
    loop.cancel(timer);
    loop.after(70ms, [&] { loop.stop(); });
  });
  loop.post([&] {  // busy over three of them
    while (std::chrono::steady_clock::now() - start < 100ms) {
    }
  });
  loop.run();
  ASSERT_EQ(beats.size(), 3U);
  EXPECT_TRUE(3 <= beats[0] && beats[0] < beats[1] && beats[1] < beats[2]);
}

TEST(PosixMainLoop, NeverFiresWhatWasCancelled) {
  PosixMainLoop loop;
  const auto late = loop.after(2ms, [] { ADD_FAILURE(); });
  loop.after(1ms, [&] { loop.cancel(late); });
  loop.post([] {  // both are due when it ends
    const auto end = std::chrono::steady_clock::now() + 5ms;
    while (std::chrono::steady_clock::now() < end) {
    }
  });
  bool stopped = false;
  loop.after(10ms, [&] {
    stopped = true;
    loop.stop();
  });
  loop.cancel(12345);
  loop.run();
  EXPECT_TRUE(stopped);
}

TEST(PosixMainLoop, StarvesNeitherTimersNorTasks) {
  PosixMainLoop loop;
  bool fired = false;
  std::function<void()> again = [&] {
    if (!fired) loop.post(again);
  };
  loop.post(again);
  loop.after(2ms, [&] { fired = true; });
  const auto busy = loop.every(1ms, [] {  // always due again by its end
    const auto end = std::chrono::steady_clock::now() + 2ms;
    while (std::chrono::steady_clock::now() < end) {
    }
  });
  loop.after(30ms, [&] { loop.post([&] { loop.stop(); }); });
  loop.run();
  loop.cancel(busy);
  EXPECT_TRUE(fired);
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
