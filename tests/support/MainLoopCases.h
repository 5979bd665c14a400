#pragma once
// What each main loop must do. The parameter of the cases makes one.

#include "platform/MainLoop.h"
#include "tests/support/Test.h"

namespace loops {

using namespace std::chrono_literals;

template <class Loop>
std::unique_ptr<platform::MainLoop> make() {
  return std::make_unique<Loop>();
}

// As work on the main thread does that takes its time.
inline void beBusy(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  while (std::chrono::steady_clock::now() < end) continue;
}

class MainLoopCases : public testing::TestWithParam<decltype(&make<platform::MainLoop>)> {
 protected:
  const std::unique_ptr<platform::MainLoop> made = GetParam()();
  platform::MainLoop& loop = *made;
};

TEST_P(MainLoopCases, RunsTasksInOrderAndTimersWhenDue) {
  std::vector<int> order;
  const auto start = std::chrono::steady_clock::now();
  loop.after(20ms, [&] { loop.stop(); });
  loop.after(10ms, [&] { order.push_back(5); });
  loop.after(5ms, [&] { order.push_back(4); });
  for (int i = 0; i < 3; ++i) loop.post([&order, i] { order.push_back(i); });
  loop.post([&] {
    loop.post([&] { order.push_back(3); });
    loop.postAndWait([&] { loop.postAndWait([&] { order.push_back(33); }); });  // at once
  });
  loop.run();
  EXPECT_EQ(order, (std::vector{0, 1, 2, 33, 3, 4, 5}));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 20ms);
}

TEST_P(MainLoopCases, WaitsForTasksOfOtherThreads) {
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

TEST_P(MainLoopCases, ReleasesWaitersWhenStopped) {
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

TEST_P(MainLoopCases, WakesWhenAnotherThreadStopsIt) {
  for (int i = 0; i < 100; ++i) {
    const auto one = GetParam()();
    std::thread stopping([&] {
      one->postAndWait([] {});  // it runs, with nothing to do after this
      one->stop();
    });
    one->run();
    stopping.join();
  }
}

TEST_P(MainLoopCases, DropsEverythingOnceStopped) {
  auto held = std::make_shared<int>(0);
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

TEST_P(MainLoopCases, RepeatsUntilCancelledAndLeavesOutMissedBeats) {
  std::vector<std::int64_t> beats;  // counted in intervals from the start
  platform::MainLoop::TimerId timer = 0;
  const auto start = std::chrono::steady_clock::now();
  timer = loop.every(30ms, [&] {
    beats.push_back((std::chrono::steady_clock::now() - start) / 30ms);
    if (beats.size() < 3) return;
    loop.cancel(timer);
    loop.after(70ms, [&] { loop.stop(); });
  });
  loop.post([] { beBusy(100ms); });  // over three of them
  loop.run();
  ASSERT_EQ(beats.size(), 3U);
  EXPECT_TRUE(3 <= beats[0] && beats[0] < beats[1] && beats[1] < beats[2]);
}

TEST_P(MainLoopCases, NeverFiresWhatWasCancelled) {
  const auto late = loop.after(2ms, [] { ADD_FAILURE(); });
  loop.after(1ms, [&] { loop.cancel(late); });
  loop.post([] { beBusy(5ms); });  // both are due when it ends
  bool stopped = false;
  loop.after(10ms, [&] {
    stopped = true;
    loop.stop();
  });
  loop.cancel(12345);
  loop.run();
  EXPECT_TRUE(stopped);
}

TEST_P(MainLoopCases, StarvesNeitherTimersNorTasks) {
  bool fired = false;
  std::function<void()> again = [&] {
    if (!fired) loop.post(again);
  };
  loop.post(again);
  loop.after(2ms, [&] { fired = true; });
  const auto busy = loop.every(1ms, [] { beBusy(2ms); });  // always due again by its end
  loop.after(30ms, [&] { loop.post([&] { loop.stop(); }); });
  loop.run();
  loop.cancel(busy);
  EXPECT_TRUE(fired);
}

}  // namespace loops
