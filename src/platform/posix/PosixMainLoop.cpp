#include "platform/posix/PosixMainLoop.h"

#include <algorithm>
#include <utility>

#include "platform/posix/AwaitedTask.h"

namespace platform {
namespace {

constexpr std::chrono::milliseconds kShortestInterval{1};

}  // namespace

PosixMainLoop::~PosixMainLoop() { PosixMainLoop::stop(); }

bool PosixMainLoop::isMainThread() const { return std::this_thread::get_id() == main_; }

void PosixMainLoop::post(Task task) {
  if (tasks_.post(std::move(task))) wake();
}

void PosixMainLoop::postAndWait(Task task) {
  if (isMainThread()) return task();
  postAndAwait(*this, std::move(task));
}

MainLoop::TimerId PosixMainLoop::after(std::chrono::milliseconds delay, Task task) {
  const TimerId timer = tasks_.add(delay, std::chrono::milliseconds(0), std::move(task));
  wake();
  return timer;
}

MainLoop::TimerId PosixMainLoop::every(std::chrono::milliseconds interval, Task task) {
  const auto kept = std::max(interval, kShortestInterval);
  const TimerId timer = tasks_.add(kept, kept, std::move(task));
  wake();
  return timer;
}

void PosixMainLoop::run() {
  while (!tasks_.isStopped()) {
    if (const auto task = tasks_.next()) {
      (*task)();
    } else {
      await();
    }
  }
}

void PosixMainLoop::stop() {
  tasks_.stop();
  wake();
}

void PosixMainLoop::wake() {
  {
    const std::lock_guard lock(mutex_);
    isAwake_ = true;
  }
  changed_.notify_one();
}

// What is added after the look at when something is due wakes it again.
void PosixMainLoop::await() {
  std::unique_lock lock(mutex_);
  const auto due = tasks_.due();
  const auto woken = [this] { return isAwake_; };
  if (due) {
    changed_.wait_until(lock, *due, woken);
  } else {
    changed_.wait(lock, woken);
  }
  isAwake_ = false;
}

}  // namespace platform
