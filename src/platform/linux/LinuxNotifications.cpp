#include "platform/linux/LinuxNotifications.h"

#include <condition_variable>
#include <utility>

#include "platform/linux/NotificationMessage.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

constexpr std::int64_t kInfo = 2;
constexpr std::int64_t kWarning = 3;
constexpr std::size_t kMostUnderWay = 256;
constexpr std::chrono::milliseconds kSubscribing{1000};

}  // namespace

// Counts what the main loop has not delivered yet. While that is a lot the bus's thread waits, and
// the bus keeps the rest: a burst costs this program no memory.
class LinuxNotifications::UnderWay : public std::enable_shared_from_this<UnderWay> {
 public:
  // Holds a place until it goes; null once closed.
  std::shared_ptr<void> place() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isClosed_ || count_ < kMostUnderWay; });
    if (isClosed_) return nullptr;
    ++count_;
    return {static_cast<void*>(this), [self = shared_from_this()](void*) { self->leave(); }};
  }

  void close() {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    changed_.notify_all();
  }

 private:
  void leave() {
    const std::lock_guard lock(mutex_);
    --count_;
    changed_.notify_all();
  }

  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::size_t count_ = 0;
  bool isClosed_ = false;
};

LinuxNotifications::LinuxNotifications(std::shared_ptr<MainLoop> mainLoop,
                                       std::shared_ptr<SystemLog> log, std::string sessionBus)
    : mainLoop_(std::move(mainLoop)),
      log_(std::move(log)),
      address_(std::move(sessionBus)),
      local_(mainLoop_),
      underWay_(std::make_shared<UnderWay>()),
      listener_([this](sd_bus_message* message) { received(message); }) {}

LinuxNotifications::~LinuxNotifications() { underWay_->close(); }

Bus& LinuxNotifications::bus() {
  std::call_once(reached_, [this] {
    bus_.emplace(
        address_, BusOwner::ThisUser,
        Bus::Events{[this](sd_bus* bus) { opened(bus); }, [this](int code) { closed(code); }});
  });
  return *bus_;
}

void LinuxNotifications::post(const Notification& notification) {
  local_.post(notification);
  if (!isCarriable(notification)) return warn("too large or no valid text: " + notification.name);
  const bool waits = bus().perform([this, notification](sd_bus* bus) {
    if (bus != nullptr && !sendNotification(bus, notification))
      warn("not sent: " + notification.name);
  });
  if (!waits) warn("the session bus does not keep up, not sent: " + notification.name);
}

LinuxNotifications::ObserverId LinuxNotifications::observe(const std::string& name,
                                                           Observer observer) {
  const ObserverId added = local_.observe(name, std::move(observer));
  if (!observes_.exchange(true)) {
    bus().performAndWait(
        [this](sd_bus* bus) {
          if (bus != nullptr) subscribe(bus);
        },
        kSubscribing);
  }
  return added;
}

void LinuxNotifications::remove(ObserverId observer) { local_.remove(observer); }

void LinuxNotifications::opened(sd_bus* bus) {
  isSubscribed_ = false;
  if (observes_) subscribe(bus);
  if (std::exchange(wasLost_, false)) inform("the session bus is back");
}

void LinuxNotifications::closed(int code) {
  wasLost_ = true;
  inform(posixError(code, "no session bus, they stay within this program").text);
}

void LinuxNotifications::subscribe(sd_bus* bus) {
  if (isSubscribed_) return;
  isSubscribed_ = listenToNotifications(bus, listener_);
  if (!isSubscribed_) warn("the session bus does not pass on those of others");
}

void LinuxNotifications::received(sd_bus_message* message) {
  const auto notification = readNotification(message);
  if (!notification) return;
  if (auto place = underWay_->place())
    mainLoop_->post(
        [place = std::move(place), deliver = local_.delivery(*notification)] { deliver(); });
}

void LinuxNotifications::inform(const std::string& text) const {
  log_->write(kInfo, "INFO Notifications: " + text);
}

void LinuxNotifications::warn(const std::string& text) const {
  log_->write(kWarning, "WARNING Notifications: " + text);
}

}  // namespace platform
