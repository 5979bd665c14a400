#include "platform/posix/LoopTasks.h"

#include <algorithm>
#include <utility>

namespace platform {

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

}  // namespace platform
