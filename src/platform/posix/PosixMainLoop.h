#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/MainLoop.h"
#include "platform/posix/LoopTasks.h"

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
