#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "platform/MainLoop.h"

namespace platform {

// What waits for its turn in a main loop: posted tasks and timers, those that are ready at once in
// turns. Time is the monotonic clock's. Once stopped it holds nothing and takes nothing. Any
// thread.
class LoopTasks {
 public:
  using Clock = std::chrono::steady_clock;
  using Task = MainLoop::Task;
  using TaskPtr = std::shared_ptr<const Task>;
  using TimerId = MainLoop::TimerId;

  // false when it was stopped; then the task is gone.
  bool post(Task task);
  // An interval of 0 fires once. The id is good for cancel() even when it was stopped.
  TimerId add(std::chrono::milliseconds delay, std::chrono::milliseconds interval, Task task);
  void cancel(TimerId timer);
  void stop();
  bool isStopped() const;

  // The task whose turn it is, if one is ready.
  TaskPtr next();
  // When next() has something: the past for at once, nullopt for not before something is added.
  std::optional<Clock::time_point> due() const;

 private:
  struct Timer {
    Clock::time_point due;
    std::chrono::milliseconds interval{0};
    TaskPtr task;
  };
  using Timers = std::map<TimerId, Timer>;

  Timers::const_iterator earliestTimer() const;
  TaskPtr fired(TimerId timer, Clock::time_point now);
  TaskPtr firstPosted();

  mutable std::mutex mutex_;  // guards what follows
  std::deque<TaskPtr> posted_;
  Timers timers_;
  TimerId lastTimer_ = 0;
  bool timersTurn_ = true;
  bool stopped_ = false;
};

// For the postAndWait() of any loop: posts the task and waits. Whether it has run or was dropped,
// its end releases who waits: the task goes first, then the promise.
void postAndAwait(MainLoop& loop, MainLoop::Task task);

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
  void cancel(TimerId timer) override { tasks_.cancel(timer); }
  void run() override;
  void stop() override;

 private:
  void await();
  void wake();

  const std::thread::id main_ = std::this_thread::get_id();
  LoopTasks tasks_;
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  bool isAwake_ = true;  // something changed since it last went to sleep
};

}  // namespace platform
