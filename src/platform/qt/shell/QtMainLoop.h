#pragma once

#include <QBasicTimer>
#include <QObject>
#include <atomic>
#include <thread>

#include "platform/MainLoop.h"
#include "platform/posix/PosixMainLoop.h"

namespace platform::qt {

// The main loop of a program with windows: tasks and timers take turns with what the desktop
// brings, also while a modal alert or a menu is up. The application object exists before it and
// outlives it. stop() is for good, and ends alerts that are up too.
class QtMainLoop : public MainLoop, private QObject {
 public:
  ~QtMainLoop() override;

  bool isMainThread() const override { return std::this_thread::get_id() == main_; }
  void post(Task task) override;
  void postAndWait(Task task) override;
  TimerId after(std::chrono::milliseconds delay, Task task) override;
  TimerId every(std::chrono::milliseconds interval, Task task) override;
  void cancel(TimerId timer) override { tasks_.cancel(timer); }
  void run() override;
  void stop() override;

 private:
  bool event(QEvent* event) override;
  void timerEvent(QTimerEvent* event) override;
  void wake();
  void turn();
  void sleepUntilDue();

  const std::thread::id main_ = std::this_thread::get_id();
  LoopTasks tasks_;
  std::atomic<bool> isWoken_ = false;  // an event is on its way
  QBasicTimer timer_;
};

}  // namespace platform::qt
