#include "platform/linux/Bus.h"

#include <sys/eventfd.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <future>
#include <utility>

namespace platform {
namespace {

constexpr std::size_t kMostWork = 50'000;
constexpr std::uint64_t kMostQueued = 64;  // messages that the socket has not taken yet
constexpr std::chrono::seconds kShortestDelay{1};
constexpr std::chrono::seconds kLongestDelay{60};
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
  if (sd_bus_message_new_method_call(bus, &made, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                     "org.freedesktop.DBus", "GetId") < 0)
    return;
  const BusMessage call(made);
  sd_bus_call(bus, made, std::chrono::microseconds(kEnding).count(), nullptr, nullptr);
}

}  // namespace

Bus::Bus(std::string address, BusOwner owner, Events events)
    : address_(std::move(address)),
      owner_(owner),
      events_(std::move(events)),
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
  delay_ = kShortestDelay;
  isLost_ = false;
  events_.opened(connection_.get());
}

void Bus::lose(int code) {
  connection_.reset();
  lastTry_ = Clock::now();
  delay_ = std::clamp(delay_ * 2, kShortestDelay, kLongestDelay);
  if (!std::exchange(isLost_, true)) events_.closed(code);
}

// nullopt: not by time.
std::optional<Bus::Clock::time_point> Bus::nextTry() {
  if (connection_ || (isLost_ && address_.empty())) return std::nullopt;
  if (!isLost_) return lastTry_;  // not tried yet
  return lastTry_ + (workWaits() ? kShortestDelay : delay_);
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
    if (end_) time = time ? std::min(*time, *end_) : *end_;
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
