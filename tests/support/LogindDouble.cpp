#include "tests/support/LogindDouble.h"

#include <poll.h>
#include <systemd/sd-bus.h>

#include "tests/support/Test.h"

namespace {

constexpr char kManager[] = "org.freedesktop.login1.Manager";

bool isHeld(const Descriptor& end) {
  pollfd waiting{end.get(), POLLIN, 0};
  return poll(&waiting, 1, 0) == 0;
}

}  // namespace

LogindDouble::LogindDouble(const std::string& address, std::chrono::milliseconds longestDelay)
    : longestDelay_(longestDelay),
      service_(address, "org.freedesktop.login1", "/org/freedesktop/login1",
               [this](sd_bus_message* message) { return answer(message); }) {}

int LogindDouble::answer(sd_bus_message* message) {
  if (sd_bus_message_is_method_call(message, kManager, "Inhibit") <= 0) return 0;
  if (!refuses) return grant(message);
  return sd_bus_reply_method_errorf(message, "org.freedesktop.login1.OperationInProgress", "busy");
}

int LogindDouble::grant(sd_bus_message* message) {
  std::array<const char*, 4> texts{};
  std::array<int, 2> ends{};
  EXPECT_GE(sd_bus_message_read(message, "ssss", &texts[0], &texts[1], &texts[2], &texts[3]), 0);
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  const Descriptor given(ends[1]);
  std::string text = texts[0];
  for (const char* part : {texts[1], texts[2], texts[3]}) text.append("/").append(part);
  {
    const std::lock_guard lock(mutex_);
    locks_.push_back({text, Descriptor(ends[0])});
  }
  return sd_bus_reply_method_return(message, "h", given.get());
}

std::vector<std::string> LogindDouble::granted() {
  const std::lock_guard lock(mutex_);
  std::vector<std::string> texts;
  for (const Lock& one : locks_) texts.push_back(one.text);
  return texts;
}

std::size_t LogindDouble::held() {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(
      std::count_if(locks_.begin(), locks_.end(), [](const Lock& one) { return isHeld(one.end); }));
}

void LogindDouble::announce(const std::string& what) {
  announced_ = std::chrono::steady_clock::now();
  prepare(what, true);
}

bool LogindDouble::goesOn() {
  return held() == 0 || std::chrono::steady_clock::now() >= announced_ + longestDelay_;
}

void LogindDouble::isOver(const std::string& what) { prepare(what, false); }

void LogindDouble::prepare(const std::string& what, bool begins) {
  service_.sendSignal(kManager, "PrepareFor" + what, [&](sd_bus_message* signal) {
    return sd_bus_message_append(signal, "b", begins ? 1 : 0);
  });
}
