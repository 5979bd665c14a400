#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace platform {

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

// Sleeps until the connection, which may be null, has something to do, the descriptor can be read
// or the time has come; without a descriptor, two seconds at the most.
void awaitBus(sd_bus* bus, int wake, std::optional<std::chrono::steady_clock::time_point> time);

}  // namespace platform
