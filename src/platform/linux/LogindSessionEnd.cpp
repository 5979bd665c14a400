// A delay lock is a descriptor: logind hands it out, and waits with a shutdown or with sleep until
// every one of them is closed, or its patience (InhibitDelayMaxSec) is over. So the hold is the
// descriptor, and letting go is closing it: a program that dies lets go as well, and no call has to
// reach a bus at the moment when everything goes down.
//
//   held          wanted_ says why, lock_ is the descriptor
//   announced     what was wanted is remembered in again_; the observer saves, and releases
//   called off    or awake again: what again_ says is taken anew, unless it was never released
//   logind starts anew: it has forgotten its locks; a new one is taken before the old one is closed
//
// The bus's thread receives and takes; the main thread asks, waits and is told by the main loop.
// What both touch is behind one mutex, which is never held over a call of the bus.
//
// Anybody on the system bus may send a signal straight to a connection whose name he knows, past
// what was subscribed to. Therefore each announcement is compared with the owner of logind's name,
// who is asked for at the start and followed from then on.
#include "platform/linux/LogindSessionEnd.h"

#include <fcntl.h>
#include <systemd/sd-bus.h>

#include <utility>

#include "extensions/Text.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

constexpr char kLogind[] = "org.freedesktop.login1";
constexpr char kLogindPath[] = "/org/freedesktop/login1";
constexpr char kManager[] = "org.freedesktop.login1.Manager";
constexpr std::int64_t kLogindInfo = 2;
constexpr std::chrono::milliseconds kLogindSubscribing{1000};
constexpr std::chrono::milliseconds kHolding{4000};

Descriptor inhibit(sd_bus* bus, const std::string& why) {
  sd_bus_message* made = nullptr;
  if (sd_bus_call_method(bus, kLogind, kLogindPath, kManager, "Inhibit", nullptr, &made, "ssss",
                         "shutdown:sleep", "Tarnvale-Helper", why.c_str(), "delay") < 0)
    return {};
  const BusMessage reply(made);
  int lock = -1;  // the message's own
  if (sd_bus_message_read(made, "h", &lock) < 0) return {};
  return Descriptor(fcntl(lock, F_DUPFD_CLOEXEC, 0));
}

// Empty for a name that nobody owns.
std::string ownerOf(sd_bus* bus, const char* name) {
  sd_bus_message* made = nullptr;
  if (sd_bus_call_method(bus, kBusDaemon, kBusDaemonPath, kBusDaemon, "GetNameOwner", nullptr,
                         &made, "s", name) < 0)
    return "";
  const BusMessage reply(made);
  const char* owner = "";
  return sd_bus_message_read(made, "s", &owner) < 0 ? "" : owner;
}

bool isFrom(sd_bus_message* message, const std::string& sender) {
  const char* from = sd_bus_message_get_sender(message);
  return from != nullptr && sender == from;
}

}  // namespace

struct LogindSessionEnd::Observed {
  std::function<void()> announced;
};

LogindSessionEnd::LogindSessionEnd(std::shared_ptr<MainLoop> mainLoop,
                                   std::shared_ptr<SystemLog> log, std::string systemBus)
    : mainLoop_(std::move(mainLoop)),
      log_(std::move(log)),
      address_(std::move(systemBus)),
      observed_(std::make_shared<Observed>()),
      preparing_([this](sd_bus_message* message) { prepares(message); }),
      owning_([this](sd_bus_message* message) { comesOrGoes(message); }) {}

LogindSessionEnd::~LogindSessionEnd() { observed_->announced = nullptr; }

Bus& LogindSessionEnd::bus() {
  if (!bus_) {
    bus_.emplace(
        address_, BusOwner::Anybody,
        Bus::Events{[this](sd_bus* bus) { opened(bus); }, [this](int code) { closed(code); }});
  }
  return *bus_;
}

void LogindSessionEnd::observe(std::function<void()> announced) {
  observed_->announced = std::move(announced);
  if (observed_->announced && !bus_) bus().performAndWait([](sd_bus*) {}, kLogindSubscribing);
}

bool LogindSessionEnd::hold(const std::string& why) {
  if (isHeld()) return true;
  if (!extensions::isValidUtf8(why)) return false;
  {
    const std::lock_guard lock(mutex_);
    wanted_ = why;
  }
  const auto take = [this](sd_bus* bus) {
    if (bus != nullptr && !isHeld()) this->take(bus);  // it may have been taken with the connection
  };
  bus().performAndWait(take, kHolding);
  if (isHeld()) return true;
  release();
  return false;
}

void LogindSessionEnd::release() {
  const std::lock_guard lock(mutex_);
  wanted_.reset();
  lock_.reset();
}

bool LogindSessionEnd::isHeld() {
  const std::lock_guard lock(mutex_);
  return static_cast<bool>(lock_);
}

void LogindSessionEnd::opened(sd_bus* bus) {
  for (const char* signal : {"PrepareForShutdown", "PrepareForSleep"})
    listenTo(bus, {kLogind, kLogindPath, kManager, signal, nullptr}, preparing_);
  listenTo(bus, busNameChanges(kLogind), owning_);
  owner_ = ownerOf(bus, kLogind);
  take(bus);
}

void LogindSessionEnd::closed(int code) {
  owner_.clear();
  const std::string text = "no system bus, shutdown and sleep are not announced";
  log_->write(kLogindInfo, "INFO SessionEnd: " + posixError(code, text).text);
}

void LogindSessionEnd::prepares(sd_bus_message* message) {
  int begins = 0;
  if (!isFrom(message, owner_) || sd_bus_message_read(message, "b", &begins) <= 0) return;
  if (begins != 0) return announce();
  isOver(sd_bus_message_get_bus(message));
}

void LogindSessionEnd::announce() {
  {
    const std::lock_guard lock(mutex_);
    again_ = wanted_;
  }
  mainLoop_->post([observed = observed_] {
    const auto announced = observed->announced;  // may be replaced by what it calls
    if (announced) announced();
  });
}

void LogindSessionEnd::isOver(sd_bus* bus) {
  {
    const std::lock_guard lock(mutex_);
    const auto again = std::exchange(again_, std::nullopt);
    if (lock_ || !again) return;
    wanted_ = again;
  }
  take(bus);
}

void LogindSessionEnd::comesOrGoes(sd_bus_message* message) {
  const char* owner = nullptr;
  if (!isFrom(message, kBusDaemon) ||
      sd_bus_message_read(message, "sss", nullptr, nullptr, &owner) <= 0)
    return;
  owner_ = owner;
  if (!owner_.empty()) take(sd_bus_message_get_bus(message));
}

// A lock that is held is let go once there is another: who waits for it must not see a gap.
void LogindSessionEnd::take(sd_bus* bus) {
  std::optional<std::string> why;
  {
    const std::lock_guard lock(mutex_);
    why = wanted_;
  }
  Descriptor taken = why ? inhibit(bus, *why) : Descriptor();
  const std::lock_guard lock(mutex_);
  if (taken && wanted_) lock_ = std::move(taken);
}

}  // namespace platform
