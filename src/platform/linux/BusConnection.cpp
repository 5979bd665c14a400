#include "platform/linux/BusConnection.h"

#include <poll.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;
using Time = std::optional<Clock::time_point>;

constexpr std::chrono::seconds kOpening{2};
constexpr std::uint64_t kAnswering = 2'000'000;  // microseconds

// sd-bus counts microseconds of the monotonic clock, which is the steady one.
Time timeOf(sd_bus* bus) {
  std::uint64_t due = UINT64_MAX;
  if (sd_bus_get_timeout(bus, &due) < 0 || due == UINT64_MAX) return std::nullopt;
  return Clock::time_point(std::chrono::microseconds(due));
}

// Rounded up, so that nobody wakes too early and finds nothing to do.
int millisecondsUntil(Time time) {
  if (!time) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*time - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, INT_MAX));
}

Time earlier(Time one, Time other) {
  if (!one || !other) return one ? one : other;
  return std::min(*one, *other);
}

bool isOurs(sd_bus* bus) {
  sd_bus_creds* found = nullptr;
  if (sd_bus_get_owner_creds(bus, SD_BUS_CREDS_EUID, &found) < 0) return false;
  uid_t owner = 0;
  const int told = sd_bus_creds_get_euid(found, &owner);
  sd_bus_creds_unref(found);
  return told >= 0 && owner == geteuid();
}

// Nothing has been sent but the greeting.
int greet(sd_bus* bus) {
  const auto end = Clock::now() + kOpening;
  while (sd_bus_is_ready(bus) <= 0) {
    if (Clock::now() >= end) return ETIMEDOUT;
    const int done = sd_bus_process(bus, nullptr);
    if (done < 0) return -done;
    if (done == 0) awaitBus(bus, -1, end);
  }
  return 0;
}

int start(sd_bus* bus, const std::string& address) {
  int code = sd_bus_set_address(bus, address.c_str());
  if (code >= 0) code = sd_bus_set_bus_client(bus, 1);
  if (code >= 0) code = sd_bus_negotiate_fds(bus, 1);
  if (code >= 0) code = sd_bus_set_method_call_timeout(bus, kAnswering);
  if (code >= 0) code = sd_bus_start(bus);
  return code < 0 ? -code : greet(bus);
}

void restrict(std::string& rule, const char* what, const char* value) {
  if (value != nullptr) rule += std::string(",") + what + "='" + value + "'";
}

int hand(sd_bus_message* message, void* listener, sd_bus_error* /*error*/) {
  (*static_cast<const BusListener*>(listener))(message);
  return 0;
}

}  // namespace

void BusClose::operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }

void BusMessageUnref::operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }

int openBus(const std::string& address, BusOwner owner, BusConnection& connection) {
  if (address.empty()) return ENOMEDIUM;
  sd_bus* made = nullptr;
  if (const int code = sd_bus_new(&made); code < 0) return -code;
  BusConnection opened(made);
  if (const int code = start(made, address); code != 0) return code;
  if (owner == BusOwner::ThisUser && !isOurs(made)) return EPERM;
  connection = std::move(opened);
  return 0;
}

bool listenTo(sd_bus* bus, const BusSignal& signal, const BusListener& listener) {
  std::string rule = "type='signal'";
  restrict(rule, "sender", signal.sender);
  restrict(rule, "path", signal.path);
  restrict(rule, "interface", signal.interface);
  restrict(rule, "member", signal.member);
  restrict(rule, "arg0", signal.firstArgument);
  return sd_bus_add_match(bus, nullptr, rule.c_str(), hand, const_cast<BusListener*>(&listener)) >=
         0;
}

void awaitBus(sd_bus* bus, int wake, std::optional<Clock::time_point> time) {
  std::array<pollfd, 2> waited = {pollfd{wake, POLLIN, 0}, pollfd{-1, 0, 0}};
  if (bus != nullptr) {
    const int events = sd_bus_get_events(bus);
    waited[1] = {sd_bus_get_fd(bus), static_cast<short>(std::max(events, 0)), 0};
    time = earlier(time, timeOf(bus));
  }
  if (wake < 0) time = earlier(time, Clock::now() + kOpening);
  poll(waited.data(), waited.size(), millisecondsUntil(time));
}

}  // namespace platform
