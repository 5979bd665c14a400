#include "platform/posix/PosixMainLoop.h"

#include <algorithm>
#include <future>
#include <utility>

namespace platform {
namespace {

constexpr std::chrono::milliseconds kShortestInterval{1};

// Whether it has run or was dropped, its end releases who waits. The task goes first, then the
// promise.
struct Awaited {
  std::shared_ptr<std::promise<void>> finished;
  MainLoop::Task task;
  void operator()() const { task(); }
};

}  // namespace

PosixMainLoop::~PosixMainLoop() { PosixMainLoop::stop(); }

bool PosixMainLoop::isMainThread() const { return std::this_thread::get_id() == main_; }

void PosixMainLoop::post(Task task) {
  auto entry = std::make_shared<const Task>(std::move(task));
  {
    const std::lock_guard lock(mutex_);
    if (stopped_) return;
    posted_.push_back(std::move(entry));
  }
  changed_.notify_one();
}

void PosixMainLoop::postAndWait(Task task) {
  if (isMainThread()) return task();
  auto finished = std::make_shared<std::promise<void>>();
  const auto released = finished->get_future();
  post(Awaited{std::move(finished), std::move(task)});
  released.wait();
}

MainLoop::TimerId PosixMainLoop::after(std::chrono::milliseconds delay, Task task) {
  return add(delay, std::chrono::milliseconds(0), std::move(task));
}

MainLoop::TimerId PosixMainLoop::every(std::chrono::milliseconds interval, Task task) {
  const auto kept = std::max(interval, kShortestInterval);
  return add(kept, kept, std::move(task));
}

MainLoop::TimerId PosixMainLoop::add(std::chrono::milliseconds delay,
                                     std::chrono::milliseconds interval, Task task) {
  Timer timer{Clock::now() + delay, interval, std::make_shared<const Task>(std::move(task))};
  TimerId id = 0;
  {
    const std::lock_guard lock(mutex_);
    id = ++lastTimer_;
    if (stopped_) return id;
    timers_.emplace(id, std::move(timer));
  }
  changed_.notify_one();
  return id;
}

void PosixMainLoop::cancel(TimerId timer) {
  TaskPtr task;  // outlives the lock: what it holds may use the loop when it goes
  const std::lock_guard lock(mutex_);
  if (const auto found = timers_.find(timer); found != timers_.end()) {
    task = std::move(found->second.task);
    timers_.erase(found);
  }
}

void PosixMainLoop::run() {
  while (const TaskPtr task = next()) (*task)();
}

void PosixMainLoop::stop() {
  std::deque<TaskPtr> dropped;
  Timers cancelled;
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    dropped.swap(posted_);
    cancelled.swap(timers_);
  }
  changed_.notify_all();
}

PosixMainLoop::TaskPtr PosixMainLoop::next() {
  std::unique_lock lock(mutex_);
  while (!stopped_) {
    const auto timer = earliestTimer();
    const auto now = Clock::now();
    const bool isDue = timer != timers_.end() && timer->second.due <= now;
    if (isDue && (timersTurn_ || posted_.empty())) return fired(timer, now);
    if (!posted_.empty()) return firstPosted();
    await(lock, timer);
  }
  return nullptr;
}

PosixMainLoop::Timers::iterator PosixMainLoop::earliestTimer() {
  return std::min_element(timers_.begin(), timers_.end(),
                          [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
}

// A repeating one keeps its beat; the beats it missed are left out.
PosixMainLoop::TaskPtr PosixMainLoop::fired(Timers::iterator timer, Clock::time_point now) {
  timersTurn_ = false;
  auto& [due, interval, task] = timer->second;
  TaskPtr fires = task;
  if (interval.count() == 0) {
    timers_.erase(timer);
  } else {
    due += interval * ((now - due) / interval + 1);
  }
  return fires;
}

PosixMainLoop::TaskPtr PosixMainLoop::firstPosted() {
  timersTurn_ = true;
  TaskPtr first = std::move(posted_.front());
  posted_.pop_front();
  return first;
}

void PosixMainLoop::await(std::unique_lock<std::mutex>& lock, Timers::iterator earliest) {
  if (earliest == timers_.end()) {
    changed_.wait(lock);
  } else {
    const auto due = earliest->second.due;  // the timer may be gone meanwhile
    changed_.wait_until(lock, due);
  }
}

}  // namespace platform
