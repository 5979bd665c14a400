// A bus, a thread, and a queue between them.
//
// The main loop of a program here watches no descriptors, and a toolkit's loop need not be taught
// to. So each connection has a thread of its own, and no lock: the connection is only ever touched
// on that thread. Who wants something of it leaves work in the queue and wakes the thread by an
// eventfd; what the bus brings is the listeners' to post to the main loop. One turn of the thread
// is
//
//      connectWhenDue   a connection, where there is none and its time has come
//      work             what waits in the queue, as long as the socket takes what it sends
//      receive          what has arrived, until work waits again
//      waitForMore      asleep in poll(): on the socket, the eventfd, the time of the next try
//
// Work is done without a connection too: it gets null and knows that nobody hears it. What is
// posted while a bus is away is thus dropped at once instead of arriving hours late.
//
// A bus that is away is tried again after a second, then after twice as long each time up to a
// minute, so that waiting for one costs nothing; saying something makes a try at once unless the
// last was less than a second ago. `closed` is told when the bus goes, not for each vain try. Once
// it was reached, the pauses begin with a second again.
//
// Who owns a Bus makes it when it first needs one. Connecting takes a thread, a socket and two
// round trips, which a command that only reads should not pay; and a desktop may start a bus, or a
// service on it, for whoever knocks.
//
// The end is the reverse: the destructor sets a time, and the thread goes on until the queue is
// empty, the bus has answered one call, and so has taken all that was sent before, or the time is
// over. A program that posts and ends at once would otherwise take its last words with it.
#include "platform/linux/Bus.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <future>
#include <string_view>
#include <utility>

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;
using Time = std::optional<Clock::time_point>;

}  // namespace

// --- Addresses

namespace {

// What may stand in a value of an address as it is.
bool isPlain(char c) {
  constexpr std::string_view kPlain = "-_/.\\*0123456789";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || kPlain.find(c) != kPlain.npos;
}

std::string addressOfSocket(const std::string& path) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string address = "unix:path=";
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    if (isPlain(c)) {
      address += c;
    } else {
      address += {'%', kDigits[byte >> 4U], kDigits[byte & 15U]};
    }
  }
  return address;
}

}  // namespace

std::string sessionBusAddress(const Environment& environment) {
  if (const auto named = environment("DBUS_SESSION_BUS_ADDRESS")) return *named;
  const auto runtime = environment("XDG_RUNTIME_DIR");
  return runtime && runtime->starts_with('/') ? addressOfSocket(*runtime + "/bus") : "";
}

std::string systemBusAddress(const Environment& environment) {
  return environment("DBUS_SYSTEM_BUS_ADDRESS").value_or("unix:path=/run/dbus/system_bus_socket");
}

// --- Connections

namespace {

constexpr std::chrono::seconds kOpening{2};
constexpr std::chrono::microseconds kAnswering = std::chrono::seconds(2);

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

// Sleeps until the connection, which may be null, has something to do, the descriptor can be read
// or the time has come.
void awaitBus(sd_bus* bus, int wake, Time time) {
  std::array<pollfd, 2> waited = {pollfd{wake, POLLIN, 0}, pollfd{-1, 0, 0}};
  if (bus != nullptr) {
    const int events = sd_bus_get_events(bus);
    waited[1] = {sd_bus_get_fd(bus), static_cast<short>(std::max(events, 0)), 0};
    time = earlier(time, timeOf(bus));
  }
  poll(waited.data(), waited.size(), millisecondsUntil(time));
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
  if (code >= 0) code = sd_bus_set_method_call_timeout(bus, kAnswering.count());
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

BusSignal busNameChanges(const char* owned) {
  return {kBusDaemon, kBusDaemonPath, kBusDaemon, "NameOwnerChanged", owned};
}

// --- The thread

namespace {

constexpr std::size_t kMostWork = 50'000;
constexpr std::uint64_t kMostQueued = 64;  // messages that the socket has not taken yet
constexpr std::chrono::seconds kEnding{2};

// Signals are for the threads that expect them.
std::thread withoutSignals(const std::function<std::thread()>& make) {
  sigset_t all;
  sigset_t former;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &former);
  std::thread made = make();
  pthread_sigmask(SIG_SETMASK, &former, nullptr);
  return made;
}

bool takesMore(sd_bus* bus) {
  std::uint64_t queued = 0;
  return bus == nullptr || sd_bus_get_n_queued_write(bus, &queued) < 0 || queued < kMostQueued;
}

// The bus answers in order: it has passed on all that came before. Without this a program that ends
// at once could take its last words with it.
void awaitDelivery(sd_bus* bus) {
  sd_bus_message* made = nullptr;
  if (sd_bus_message_new_method_call(bus, &made, kBusDaemon, kBusDaemonPath, kBusDaemon, "GetId") <
      0)
    return;
  const BusMessage call(made);
  sd_bus_call(bus, made, std::chrono::microseconds(kEnding).count(), nullptr, nullptr);
}

}  // namespace

Bus::Bus(std::string address, BusOwner owner, Events events, BusPauses pauses)
    : address_(std::move(address)),
      owner_(owner),
      events_(std::move(events)),
      pauses_(pauses),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      thread_(withoutSignals([this] { return std::thread([this] { serve(); }); })) {}

Bus::~Bus() {
  {
    const std::lock_guard lock(mutex_);
    end_ = Clock::now() + kEnding;
  }
  wake();
  thread_.join();
}

bool Bus::perform(Work work) {
  {
    const std::lock_guard lock(mutex_);
    if (waiting_.size() >= kMostWork) return false;
    waiting_.push_back(std::move(work));
  }
  wake();
  return true;
}

void Bus::performAndWait(Work work, std::chrono::milliseconds limit) {
  const auto done = std::make_shared<std::promise<void>>();
  const auto ended = done->get_future();
  const bool waits = perform([done, work = std::move(work)](sd_bus* bus) {
    work(bus);
    done->set_value();
  });
  if (waits) ended.wait_for(limit);
}

void Bus::wake() const { eventfd_write(wake_.get(), 1); }

void Bus::serve() {
  do {
    connectWhenDue();
    work();
    receive();
  } while (waitForMore());
  leave();
}

void Bus::connectWhenDue() {
  const auto due = nextTry();
  if (!due || *due > Clock::now()) return;
  const int code = openBus(address_, owner_, connection_);
  lastTry_ = Clock::now();
  if (code != 0) return lose(code);
  pause_ = {};
  isLost_ = false;
  events_.opened(connection_.get());
}

void Bus::lose(int code) {
  connection_.reset();
  lastTry_ = Clock::now();
  pause_ = std::clamp(pause_ * 2, pauses_.shortest, pauses_.longest);
  if (!std::exchange(isLost_, true)) events_.closed(code);
}

// nullopt: not by time.
std::optional<Bus::Clock::time_point> Bus::nextTry() {
  if (connection_ || (isLost_ && address_.empty())) return std::nullopt;
  if (!isLost_) return lastTry_;  // not tried yet
  return lastTry_ + (workWaits() ? pauses_.shortest : pause_);
}

void Bus::work() {
  while (takesMore(connection_.get())) {
    const auto next = nextWork();
    if (!next) return;
    (*next)(connection_.get());
  }
}

std::optional<Bus::Work> Bus::nextWork() {
  const std::lock_guard lock(mutex_);
  if (waiting_.empty()) return std::nullopt;
  Work next = std::move(waiting_.front());
  waiting_.pop_front();
  return next;
}

void Bus::receive() {
  while (connection_) {
    const int done = sd_bus_process(connection_.get(), nullptr);
    if (done < 0) return lose(-done);
    if (done == 0 || workWaits()) return;
  }
}

bool Bus::workWaits() {
  const std::lock_guard lock(mutex_);
  return !waiting_.empty();
}

bool Bus::waitForMore() {
  std::optional<Clock::time_point> time = nextTry();
  {
    const std::lock_guard lock(mutex_);
    if (end_ && (waiting_.empty() || Clock::now() >= *end_)) return false;
    if (!waiting_.empty() && takesMore(connection_.get())) return true;
    time = earlier(time, end_);
  }
  awaitBus(connection_.get(), wake_.get(), time);
  eventfd_t ignored = 0;
  eventfd_read(wake_.get(), &ignored);
  return true;
}

void Bus::leave() {
  if (connection_) awaitDelivery(connection_.get());
  connection_.reset();
}

}  // namespace platform
