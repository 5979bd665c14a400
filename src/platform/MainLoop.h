#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <thread>

namespace platform {

// The loop of the main thread, the thread that constructed it. Tasks run in the order posted, one
// at a time, and must not throw.
class MainLoop {
 public:
  using Task = std::function<void()>;
  using TimerId = std::uint64_t;

  virtual ~MainLoop() = default;

  virtual bool isMainThread() const = 0;

  // Any thread. Returns at once; the task runs when the loop does.
  virtual void post(Task task) = 0;

  // Any thread. Returns when the task has run; called on the main thread it runs it directly.
  // A task posted to a loop that was stopped is dropped, and the caller released.
  virtual void postAndWait(Task task) = 0;

  // Any thread. Timers fire on the main thread; one that is late fires once, not once for every
  // interval missed. A cancelled timer never fires again once cancel() was called on the main
  // thread.
  virtual TimerId after(std::chrono::milliseconds delay, Task task) = 0;
  virtual TimerId every(std::chrono::milliseconds interval, Task task) = 0;
  virtual void cancel(TimerId timer) = 0;

  // run() returns after stop(), which any thread may call, also before run().
  virtual void run() = 0;
  virtual void stop() = 0;

  // Blocks the calling thread, which may be any, for the time given.
  virtual void sleep(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }
};

}  // namespace platform
