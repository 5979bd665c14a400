#include "platform/qt/shell/QtMainLoop.h"

#include <QCoreApplication>
#include <algorithm>
#include <memory>

#include "platform/posix/PosixMainLoop.h"

namespace platform::qt {
namespace {

constexpr std::chrono::milliseconds kShortestInterval{1};

}  // namespace

QtMainLoop::~QtMainLoop() { tasks_.stop(); }

void QtMainLoop::post(Task task) {
  if (tasks_.post(std::move(task))) wake();
}

void QtMainLoop::postAndWait(Task task) {
  if (isMainThread()) return task();
  postAndAwait(*this, std::move(task));
}

MainLoop::TimerId QtMainLoop::after(std::chrono::milliseconds delay, Task task) {
  const TimerId timer = tasks_.add(delay, std::chrono::milliseconds(0), std::move(task));
  wake();
  return timer;
}

MainLoop::TimerId QtMainLoop::every(std::chrono::milliseconds interval, Task task) {
  const auto kept = std::max(interval, kShortestInterval);
  const TimerId timer = tasks_.add(kept, kept, std::move(task));
  wake();
  return timer;
}

void QtMainLoop::run() {
  if (!tasks_.isStopped()) QCoreApplication::exec();
}

void QtMainLoop::stop() {
  tasks_.stop();
  wake();
}

void QtMainLoop::wake() {
  if (isWoken_.exchange(true)) return;
  QCoreApplication::postEvent(this, std::make_unique<QEvent>(QEvent::User).release());
}

bool QtMainLoop::event(QEvent* event) {
  if (event->type() != QEvent::User) return QObject::event(event);
  isWoken_ = false;
  turn();
  return true;
}

void QtMainLoop::timerEvent(QTimerEvent* /*event*/) {
  timer_.stop();
  turn();
}

// One task, so that what the desktop brings has its turn too. The task may run a loop of its own,
// in which the next ones come to theirs; or end this object.
void QtMainLoop::turn() {
  if (tasks_.isStopped()) return QCoreApplication::exit();
  const auto task = tasks_.next();
  sleepUntilDue();
  if (task) (*task)();
}

void QtMainLoop::sleepUntilDue() {
  const auto due = tasks_.due();
  if (!due) return timer_.stop();
  const auto now = LoopTasks::Clock::now();
  if (*due <= now) return wake();
  const auto rest = std::chrono::ceil<std::chrono::milliseconds>(*due - now);
  timer_.start(static_cast<int>(std::min<std::int64_t>(rest.count(), 1 << 30)), Qt::PreciseTimer,
               this);
}

}  // namespace platform::qt
