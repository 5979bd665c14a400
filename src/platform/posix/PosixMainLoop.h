#pragma once

#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "platform/MainLoop.h"

namespace platform {

// A main loop without a desktop. Time is the monotonic clock's. stop() is for good: what was posted
// and not begun is dropped, and so is everything posted afterwards. Of tasks and timers that are
// ready at once each gets its turn.
class PosixMainLoop : public MainLoop {
 public:
  ~PosixMainLoop() override;

  bool isMainThread() const override;
  void post(Task task) override;
  void postAndWait(Task task) override;
  TimerId after(std::chrono::milliseconds delay, Task task) override;
  TimerId every(std::chrono::milliseconds interval, Task task) override;
  void cancel(TimerId timer) override;
  void run() override;
  void stop() override;

 private:
  using Clock = std::chrono::steady_clock;
  using TaskPtr = std::shared_ptr<const Task>;
  struct Timer {
    Clock::time_point due;
    std::chrono::milliseconds interval{0};  // 0 for one that fires once
    TaskPtr task;
  };
  using Timers = std::map<TimerId, Timer>;

  TimerId add(std::chrono::milliseconds delay, std::chrono::milliseconds interval, Task task);
  TaskPtr next();  // waits for it; null once the loop was stopped
  Timers::iterator earliestTimer();
  TaskPtr fired(Timers::iterator timer, Clock::time_point now);
  TaskPtr firstPosted();
  void await(std::unique_lock<std::mutex>& lock, Timers::iterator earliest);

  const std::thread::id main_ = std::this_thread::get_id();
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::deque<TaskPtr> posted_;
  Timers timers_;
  TimerId lastTimer_ = 0;
  bool timersTurn_ = true;
  bool stopped_ = false;
};

}  // namespace platform
