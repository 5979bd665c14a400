#include "platform/linux/PortalColorScheme.h"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <string_view>
#include <utility>

namespace platform {
namespace {

constexpr char kPortal[] = "org.freedesktop.portal.Desktop";
constexpr char kPortalPath[] = "/org/freedesktop/portal/desktop";
constexpr char kSettings[] = "org.freedesktop.portal.Settings";
constexpr char kNamespace[] = "org.freedesktop.appearance";
constexpr char kKey[] = "color-scheme";
constexpr char kReadOne[] = "ReadOne";
constexpr char kRead[] = "Read";  // of portals before version 2; its answer is wrapped twice
constexpr std::uint32_t kDark = 1;
constexpr std::chrono::milliseconds kPortalAnswering{500};

bool isVariant(sd_bus_message* message) {
  char type = 0;
  return sd_bus_message_peek_type(message, &type, nullptr) > 0 && type == 'v';
}

// nullopt for what is no number.
std::optional<std::uint32_t> schemeIn(sd_bus_message* message) {
  while (isVariant(message)) {
    const char* contents = nullptr;
    if (sd_bus_message_peek_type(message, nullptr, &contents) <= 0 ||
        sd_bus_message_enter_container(message, 'v', contents) <= 0)
      return std::nullopt;
  }
  std::uint32_t scheme = 0;
  if (sd_bus_message_read(message, "u", &scheme) <= 0) return std::nullopt;
  return scheme;
}

}  // namespace

PortalColorScheme::PortalColorScheme(std::string sessionBus)
    : address_(std::move(sessionBus)),
      changing_([this](sd_bus_message* message) { changed(message); }),
      owning_([this](sd_bus_message* message) { comesOrGoes(message); }) {}

bool PortalColorScheme::isDark() {
  std::call_once(reached_, [this] {
    bus_.emplace(address_, BusOwner::ThisUser,
                 Bus::Events{[this](sd_bus* bus) { opened(bus); }, [this](int) { know(isDark_); }});
    awaitAnswer();
  });
  return isDark_;
}

void PortalColorScheme::awaitAnswer() {
  std::unique_lock lock(mutex_);
  answering_.wait_for(lock, kPortalAnswering, [this] { return isKnown_; });
}

void PortalColorScheme::know(bool isDark) {
  isDark_ = isDark;
  const std::lock_guard lock(mutex_);
  isKnown_ = true;
  answering_.notify_all();
}

void PortalColorScheme::opened(sd_bus* bus) {
  listenTo(bus, {kPortal, kPortalPath, kSettings, "SettingChanged", kNamespace}, changing_);
  listenTo(bus,
           {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
            "NameOwnerChanged", kPortal},
           owning_);
  ask(bus, kReadOne);
}

void PortalColorScheme::ask(sd_bus* bus, const char* method) {
  const auto answer = [](sd_bus_message* reply, void* self, sd_bus_error*) {
    static_cast<PortalColorScheme*>(self)->answered(reply);
    return 0;
  };
  asked_ = method;
  if (sd_bus_call_method_async(bus, nullptr, kPortal, kPortalPath, kSettings, method, answer, this,
                               "ss", kNamespace, kKey) < 0)
    know(isDark_);
}

void PortalColorScheme::answered(sd_bus_message* reply) {
  const bool failed = sd_bus_message_is_method_error(reply, nullptr) > 0;
  const bool isOld = failed && sd_bus_message_is_method_error(
                                   reply, "org.freedesktop.DBus.Error.UnknownMethod") > 0;
  if (isOld && std::exchange(asked_, kRead) != kRead)
    return ask(sd_bus_message_get_bus(reply), kRead);
  const auto scheme = failed ? std::nullopt : schemeIn(reply);
  know(scheme ? *scheme == kDark : isDark_.load());
}

void PortalColorScheme::changed(sd_bus_message* message) {
  const char* key = nullptr;
  if (sd_bus_message_read(message, "ss", nullptr, &key) <= 0 || std::string_view(key) != kKey)
    return;
  if (const auto scheme = schemeIn(message)) know(*scheme == kDark);
}

// A portal that starts later, or anew, does not tell what has changed meanwhile.
void PortalColorScheme::comesOrGoes(sd_bus_message* message) {
  const char* owner = nullptr;
  if (sd_bus_message_read(message, "sss", nullptr, nullptr, &owner) > 0 && *owner != '\0')
    ask(sd_bus_message_get_bus(message), kReadOne);
}

}  // namespace platform
