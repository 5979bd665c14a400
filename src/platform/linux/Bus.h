#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "leaf/Descriptor.h"
#include "platform/posix/Environment.h"

struct sd_bus;
struct sd_bus_message;

namespace platform {

// Where the environment says that the buses are, as addresses of D-Bus. Empty: there is none.
std::string sessionBusAddress(const Environment& environment);
std::string systemBusAddress(const Environment& environment);

struct BusClose {
  void operator()(sd_bus* bus) const;  // drops what was not sent yet
};
using BusConnection = std::unique_ptr<sd_bus, BusClose>;

struct BusMessageUnref {
  void operator()(sd_bus_message* message) const;
};
using BusMessage = std::unique_ptr<sd_bus_message, BusMessageUnref>;

// Whose bus it must be. What a bus of another user passes on is hearsay.
enum class BusOwner { ThisUser, Anybody };

// Opens a connection over which a call is answered within two seconds or fails; opening takes no
// longer either. Gives 0, or the errno that says why there is none: ENOMEDIUM for an empty address.
int openBus(const std::string& address, BusOwner owner, BusConnection& connection);

// A kind of signals; null for any.
struct BusSignal {
  const char* sender;
  const char* path;
  const char* interface;
  const char* member;
  const char* firstArgument;
};
using BusListener = std::function<void(sd_bus_message*)>;

// From now on the listener, which must outlive the connection, gets each signal of the kind.
bool listenTo(sd_bus* bus, const BusSignal& signal, const BusListener& listener);

// The daemon's signal that the name `owned` has come, gone or changed hands.
BusSignal busNameChanges(const char* owned);
inline constexpr char kBusDaemon[] = "org.freedesktop.DBus";
inline constexpr char kBusDaemonPath[] = "/org/freedesktop/DBus";

// Between two tries to reach a bus: the first, and what doubling it comes to in the end.
struct BusPauses {
  std::chrono::milliseconds shortest{1'000};
  std::chrono::milliseconds longest{60'000};
};

// A connection to a message bus and the thread that serves it. The connection belongs to that
// thread; whatever gets it runs there. A bus that cannot be reached, or goes away, is tried again,
// after pauses that grow, and when there is work; a bus without an address never.
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

  Bus(std::string address, BusOwner owner, Events events, BusPauses pauses = {});
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
  const BusPauses pauses_;

  // The thread's own.
  BusConnection connection_;
  bool isLost_ = false;  // and `closed` has been told
  Clock::time_point lastTry_;
  std::chrono::milliseconds pause_{0};  // before the next try

  std::mutex mutex_;  // guards what follows
  std::deque<Work> waiting_;
  std::optional<Clock::time_point> end_;  // when the thread gives up what is still to do

  const Descriptor wake_;
  std::thread thread_;  // last: it uses everything above
};

}  // namespace platform
