#include "platform/linux/LinuxNotifications.h"

#include <systemd/sd-bus.h>

#include <condition_variable>
#include <utility>

#include "extensions/Text.h"
#include "platform/posix/PosixError.h"

namespace platform {

// --- A notification as a message of the bus: the signal "Posted" of one object and interface, with
// the name, the object and the user information as "ssa{ss}".

namespace {

constexpr char kNotificationsPath[] = "/com/tarnvale/Notifications";
constexpr char kNotificationsInterface[] = "com.tarnvale.Notifications";
constexpr char kPosted[] = "Posted";
constexpr std::size_t kMostMessageBytes = 64U << 10U;

std::size_t bytesOf(const Notification& notification) {
  std::size_t bytes = notification.name.size() + notification.object.size();
  for (const auto& [key, value] : notification.userInfo) bytes += key.size() + value.size();
  return bytes;
}

bool isCarriableText(const std::string& text) {
  return text.find('\0') == std::string::npos && extensions::isValidUtf8(text);
}

bool appendUserInfo(sd_bus_message* message, const Notification& notification) {
  if (sd_bus_message_open_container(message, 'a', "{ss}") < 0) return false;
  for (const auto& [key, value] : notification.userInfo) {
    if (sd_bus_message_append(message, "{ss}", key.c_str(), value.c_str()) < 0) return false;
  }
  return sd_bus_message_close_container(message) >= 0;
}

bool readUserInfo(sd_bus_message* message, Notification& notification) {
  if (sd_bus_message_enter_container(message, 'a', "{ss}") < 0) return false;
  const char* key = nullptr;
  const char* value = nullptr;
  int read = 0;
  while ((read = sd_bus_message_read(message, "{ss}", &key, &value)) > 0)
    notification.userInfo.emplace(key, value);
  return read == 0;
}

bool isOwn(sd_bus_message* message) {
  const char* own = nullptr;
  const char* sender = sd_bus_message_get_sender(message);
  if (sd_bus_get_unique_name(sd_bus_message_get_bus(message), &own) < 0) return false;
  return sender != nullptr && std::string_view(sender) == own;
}

// Texts of valid UTF-8 without zero bytes, 64 KiB altogether.
bool isCarriable(const Notification& notification) {
  bool carriable = bytesOf(notification) <= kMostMessageBytes &&
                   isCarriableText(notification.name) && isCarriableText(notification.object);
  for (const auto& [key, value] : notification.userInfo)
    carriable = carriable && isCarriableText(key) && isCarriableText(value);
  return carriable;
}

bool sendNotification(sd_bus* bus, const Notification& notification) {
  sd_bus_message* made = nullptr;
  if (sd_bus_message_new_signal(bus, &made, kNotificationsPath, kNotificationsInterface, kPosted) <
      0)
    return false;
  const BusMessage message(made);
  return sd_bus_message_append(made, "ss", notification.name.c_str(),
                               notification.object.c_str()) >= 0 &&
         appendUserInfo(made, notification) && sd_bus_send(bus, made, nullptr) >= 0;
}

// nullopt for a message that another sender made up wrongly, and for one that this connection sent.
std::optional<Notification> readNotification(sd_bus_message* message) {
  if (isOwn(message) || sd_bus_message_has_signature(message, "ssa{ss}") <= 0) return std::nullopt;
  const char* name = nullptr;
  const char* object = nullptr;
  if (sd_bus_message_read(message, "ss", &name, &object) < 0) return std::nullopt;
  Notification notification{name, object, {}};
  if (!readUserInfo(message, notification) || bytesOf(notification) > kMostMessageBytes)
    return std::nullopt;
  return notification;
}

}  // namespace

// --- The carrier

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
  isSubscribed_ = listenTo(
      bus, {nullptr, kNotificationsPath, kNotificationsInterface, kPosted, nullptr}, listener_);
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
