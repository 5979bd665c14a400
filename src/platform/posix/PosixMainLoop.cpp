#include "platform/posix/PosixMainLoop.h"

#include <algorithm>
#include <future>
#include <utility>

namespace platform {

// --- What waits for its turn

bool LoopTasks::post(Task task) {
  auto entry = std::make_shared<const Task>(std::move(task));
  const std::lock_guard lock(mutex_);
  if (!stopped_) posted_.push_back(std::move(entry));
  return !stopped_;
}

LoopTasks::TimerId LoopTasks::add(std::chrono::milliseconds delay,
                                  std::chrono::milliseconds interval, Task task) {
  Timer timer{Clock::now() + delay, interval, std::make_shared<const Task>(std::move(task))};
  const std::lock_guard lock(mutex_);
  const TimerId id = ++lastTimer_;
  if (!stopped_) timers_.emplace(id, std::move(timer));
  return id;
}

void LoopTasks::cancel(TimerId timer) {
  TaskPtr task;  // outlives the lock: what it holds may use the loop when it goes
  const std::lock_guard lock(mutex_);
  if (const auto found = timers_.find(timer); found != timers_.end()) {
    task = std::move(found->second.task);
    timers_.erase(found);
  }
}

void LoopTasks::stop() {
  std::deque<TaskPtr> dropped;
  Timers cancelled;
  const std::lock_guard lock(mutex_);
  stopped_ = true;
  dropped.swap(posted_);
  cancelled.swap(timers_);
}

bool LoopTasks::isStopped() const {
  const std::lock_guard lock(mutex_);
  return stopped_;
}

LoopTasks::TaskPtr LoopTasks::next() {
  const std::lock_guard lock(mutex_);
  const auto timer = earliestTimer();
  const auto now = Clock::now();
  const bool isDue = timer != timers_.end() && timer->second.due <= now;
  if (isDue && (timersTurn_ || posted_.empty())) return fired(timer->first, now);
  return posted_.empty() ? nullptr : firstPosted();
}

std::optional<LoopTasks::Clock::time_point> LoopTasks::due() const {
  const std::lock_guard lock(mutex_);
  if (!posted_.empty()) return Clock::time_point::min();
  const auto timer = earliestTimer();
  if (timer == timers_.end()) return std::nullopt;
  return timer->second.due;
}

LoopTasks::Timers::const_iterator LoopTasks::earliestTimer() const {
  return std::min_element(timers_.begin(), timers_.end(),
                          [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
}

// A repeating one keeps its beat; the beats it missed are left out.
LoopTasks::TaskPtr LoopTasks::fired(TimerId timer, Clock::time_point now) {
  timersTurn_ = false;
  auto& [due, interval, task] = timers_.at(timer);
  TaskPtr fires = task;
  if (interval.count() == 0) {
    timers_.erase(timer);
  } else {
    due += interval * ((now - due) / interval + 1);
  }
  return fires;
}

LoopTasks::TaskPtr LoopTasks::firstPosted() {
  timersTurn_ = true;
  TaskPtr first = std::move(posted_.front());
  posted_.pop_front();
  return first;
}

void postAndAwait(MainLoop& loop, MainLoop::Task task) {
  struct Awaited {
    std::shared_ptr<std::promise<void>> finished;
    MainLoop::Task task;
    void operator()() const { task(); }
  };
  auto finished = std::make_shared<std::promise<void>>();
  const auto released = finished->get_future();
  loop.post(Awaited{std::move(finished), std::move(task)});
  released.wait();
}

// --- The loop

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
