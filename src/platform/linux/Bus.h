#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/linux/BusConnection.h"
#include "platform/posix/FileDescriptor.h"

namespace platform {

// A connection to a message bus and the thread that serves it. The connection belongs to that
// thread; whatever gets it runs there. The thread sleeps until the bus or perform() wakes it. A bus
// that cannot be reached, or goes away, is tried again after a second, then after twice as long
// each time up to a minute, and when there is work; a bus without an address never.
class Bus {
 public:
  // Gets the connection, or null while there is none.
  using Work = std::function<void(sd_bus*)>;

  struct Events {
    // Each time that the bus is reached: the place to say what signals are wanted.
    std::function<void(sd_bus*)> opened;
    // Once each time that it is lost, and when it was not there to begin with. The errno says why.
    std::function<void(int code)> closed;
  };

  Bus(std::string address, BusOwner owner, Events events);
  // Does the work that waits, waits until the bus has taken what was sent, and closes; with a bus
  // that hangs, after some seconds all the same.
  ~Bus();
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;

  // Any thread. false when so much work waits already that the bus must be hanging.
  bool perform(Work work);

  // Performs the work and waits for its end, at most for the time given. It may still run
  // afterwards, so it must own what it uses.
  void performAndWait(Work work, std::chrono::milliseconds limit);

 private:
  using Clock = std::chrono::steady_clock;

  void serve();
  void connectWhenDue();
  void lose(int code);
  void work();
  std::optional<Work> nextWork();
  void receive();
  bool waitForMore();
  bool workWaits();
  std::optional<Clock::time_point> nextTry();
  void leave();
  void wake() const;

  const std::string address_;
  const BusOwner owner_;
  const Events events_;

  // The thread's own.
  BusConnection connection_;
  bool isLost_ = false;  // and `closed` has been told
  Clock::time_point lastTry_;
  std::chrono::seconds delay_{0};  // between tries

  std::mutex mutex_;  // guards what follows
  std::deque<Work> waiting_;
  std::optional<Clock::time_point> end_;  // when the thread gives up what is still to do

  const FileDescriptor wake_;
  std::thread thread_;  // last: it uses everything above
};

}  // namespace platform
