#pragma once

#include <condition_variable>
#include <deque>

#include "platform/MainLoop.h"
#include "tests/support/Test.h"

// A main loop that runs only while the test waits for something, any number of times. No timers.
class TurningLoop : public platform::MainLoop {
 public:
  bool isMainThread() const override { return std::this_thread::get_id() == main_; }
  void post(Task task) override {
    const std::lock_guard lock(mutex_);
    waiting_.push_back(std::move(task));
    most_ = std::max(most_, waiting_.size());
    changed_.notify_all();
  }
  void postAndWait(Task task) override { task(); }
  // Only what is due at once ever fires.
  TimerId after(std::chrono::milliseconds delay, Task task) override {
    if (delay == std::chrono::milliseconds(0)) post(std::move(task));
    return 0;
  }
  TimerId every(std::chrono::milliseconds, Task) override { return 0; }
  void cancel(TimerId) override {}
  void run() override {}
  void stop() override {}

  // Runs tasks until it is so. A minute is a failure.
  void runUntil(const std::function<bool()>& isSo) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!isSo()) {
      ASSERT_LT(std::chrono::steady_clock::now(), end) << "waited in vain";
      turn();
    }
  }

  // The most tasks that ever waited.
  std::size_t most() const {
    const std::lock_guard lock(mutex_);
    return most_;
  }

 private:
  void turn() {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(10), [&] { return !waiting_.empty(); });
    if (waiting_.empty()) return;
    const Task first = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    first();
  }

  const std::thread::id main_ = std::this_thread::get_id();
  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::deque<Task> waiting_;
  std::size_t most_ = 0;
};
