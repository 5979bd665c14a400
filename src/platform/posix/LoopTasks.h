#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

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

  // NO when it was stopped; then the task is gone.
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

}  // namespace platform
