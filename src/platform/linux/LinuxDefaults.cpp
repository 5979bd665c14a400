#include "platform/linux/LinuxDefaults.h"

#include <systemd/sd-bus.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/linux/Bus.h"

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

// The colour scheme that the user prefers, as the desktop's portal tells it: the setting
// "color-scheme" of "org.freedesktop.appearance", 1 for dark. Light where nobody says.
//
// It is asked once, and follows the portal's signals from then on, so that a menu that opens waits
// for nothing. Where no bus is reached, no portal answers, or it is slow, the answer is what was
// last known; a portal that starts later or anew is asked again, as it does not tell what has
// changed meanwhile. Any thread.
class LinuxDefaults::ColorScheme {
 public:
  explicit ColorScheme(std::string sessionBus);

  // The first call reaches for the bus and waits for the answer, at most half a second; it is light
  // until an answer comes. From then on the portal tells of changes, and nothing is asked nor
  // waited for.
  bool isDark();

 private:
  // On the bus's thread.
  void opened(sd_bus* bus);
  void ask(sd_bus* bus, const char* method);
  void answered(sd_bus_message* reply);
  void changed(sd_bus_message* message);
  void comesOrGoes(sd_bus_message* message);
  void know(bool isDark);
  void awaitAnswer();

  const std::string address_;
  const BusListener changing_;
  const BusListener owning_;
  const char* asked_ = nullptr;  // the method; the bus's thread only
  std::atomic<bool> isDark_{false};

  std::mutex mutex_;  // guards what follows
  std::condition_variable answering_;
  bool isKnown_ = false;

  std::once_flag reached_;
  std::optional<Bus> bus_;  // last: its thread uses everything above
};

LinuxDefaults::ColorScheme::ColorScheme(std::string sessionBus)
    : address_(std::move(sessionBus)),
      changing_([this](sd_bus_message* message) { changed(message); }),
      owning_([this](sd_bus_message* message) { comesOrGoes(message); }) {}

bool LinuxDefaults::ColorScheme::isDark() {
  std::call_once(reached_, [this] {
    bus_.emplace(address_, BusOwner::ThisUser,
                 Bus::Events{[this](sd_bus* bus) { opened(bus); }, [this](int) { know(isDark_); }});
    awaitAnswer();
  });
  return isDark_;
}

void LinuxDefaults::ColorScheme::awaitAnswer() {
  std::unique_lock lock(mutex_);
  answering_.wait_for(lock, kPortalAnswering, [this] { return isKnown_; });
}

void LinuxDefaults::ColorScheme::know(bool isDark) {
  isDark_ = isDark;
  const std::lock_guard lock(mutex_);
  isKnown_ = true;
  answering_.notify_all();
}

void LinuxDefaults::ColorScheme::opened(sd_bus* bus) {
  listenTo(bus, {kPortal, kPortalPath, kSettings, "SettingChanged", kNamespace}, changing_);
  listenTo(bus, busNameChanges(kPortal), owning_);
  ask(bus, kReadOne);
}

void LinuxDefaults::ColorScheme::ask(sd_bus* bus, const char* method) {
  const auto answer = [](sd_bus_message* reply, void* self, sd_bus_error*) {
    static_cast<LinuxDefaults::ColorScheme*>(self)->answered(reply);
    return 0;
  };
  asked_ = method;
  if (sd_bus_call_method_async(bus, nullptr, kPortal, kPortalPath, kSettings, method, answer, this,
                               "ss", kNamespace, kKey) < 0)
    know(isDark_);
}

void LinuxDefaults::ColorScheme::answered(sd_bus_message* reply) {
  const bool failed = sd_bus_message_is_method_error(reply, nullptr) > 0;
  const bool isOld = failed && sd_bus_message_is_method_error(
                                   reply, "org.freedesktop.DBus.Error.UnknownMethod") > 0;
  if (isOld && std::exchange(asked_, kRead) != kRead)
    return ask(sd_bus_message_get_bus(reply), kRead);
  const auto scheme = failed ? std::nullopt : schemeIn(reply);
  know(scheme ? *scheme == kDark : isDark_.load());
}

void LinuxDefaults::ColorScheme::changed(sd_bus_message* message) {
  const char* key = nullptr;
  if (sd_bus_message_read(message, "ss", nullptr, &key) <= 0 || std::string_view(key) != kKey)
    return;
  if (const auto scheme = schemeIn(message)) know(*scheme == kDark);
}

void LinuxDefaults::ColorScheme::comesOrGoes(sd_bus_message* message) {
  const char* owner = nullptr;
  if (sd_bus_message_read(message, "sss", nullptr, nullptr, &owner) > 0 && *owner != '\0')
    ask(sd_bus_message_get_bus(message), kReadOne);
}

LinuxDefaults::LinuxDefaults(FileDefaults file, std::string sessionBus)
    : file_(std::move(file)), colorScheme_(std::make_unique<ColorScheme>(std::move(sessionBus))) {}

LinuxDefaults::~LinuxDefaults() = default;

std::optional<std::string> LinuxDefaults::string(std::string_view key) const {
  auto kept = file_.string(key);
  if (kept || key != "AppleInterfaceStyle" || !colorScheme_->isDark()) return kept;
  return "Dark";
}

std::optional<std::int64_t> LinuxDefaults::integer(std::string_view key) const {
  return file_.integer(key);
}

}  // namespace platform
