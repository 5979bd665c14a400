#include "platform/linux/NotificationMessage.h"

#include <systemd/sd-bus.h>

#include "extensions/Text.h"

namespace platform {
namespace {

constexpr char kPath[] = "/com/tarnvale/Notifications";
constexpr char kInterface[] = "com.tarnvale.Notifications";
constexpr char kMember[] = "Posted";
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

}  // namespace

bool listenToNotifications(sd_bus* bus, const BusListener& listener) {
  return listenTo(bus, {nullptr, kPath, kInterface, kMember, nullptr}, listener);
}

bool isCarriable(const Notification& notification) {
  bool carriable = bytesOf(notification) <= kMostMessageBytes &&
                   isCarriableText(notification.name) && isCarriableText(notification.object);
  for (const auto& [key, value] : notification.userInfo)
    carriable = carriable && isCarriableText(key) && isCarriableText(value);
  return carriable;
}

bool sendNotification(sd_bus* bus, const Notification& notification) {
  sd_bus_message* made = nullptr;
  if (sd_bus_message_new_signal(bus, &made, kPath, kInterface, kMember) < 0) return false;
  const BusMessage message(made);
  return sd_bus_message_append(made, "ss", notification.name.c_str(),
                               notification.object.c_str()) >= 0 &&
         appendUserInfo(made, notification) && sd_bus_send(bus, made, nullptr) >= 0;
}

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

}  // namespace platform
