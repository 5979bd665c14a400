#include "tests/support/LogindDouble.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <array>

using namespace platform;

namespace {

constexpr char kPath[] = "/org/freedesktop/login1";
constexpr char kManager[] = "org.freedesktop.login1.Manager";

bool isHeld(const FileDescriptor& end) {
  pollfd waiting{end.get(), POLLIN, 0};
  return poll(&waiting, 1, 0) == 0;
}

}  // namespace

LogindDouble::LogindDouble(const std::string& address, std::chrono::milliseconds longestDelay)
    : longestDelay_(longestDelay),
      bus_(address, BusOwner::Anybody, {[this](sd_bus* bus) { serve(bus); }, [](int) {}}) {
  bus_.performAndWait([](sd_bus* bus) { EXPECT_NE(bus, nullptr); }, std::chrono::minutes(1));
}

void LogindDouble::serve(sd_bus* bus) {
  const auto handler = [](sd_bus_message* message, void* self, sd_bus_error*) {
    return static_cast<LogindDouble*>(self)->answer(message);
  };
  EXPECT_GE(sd_bus_add_object(bus, nullptr, kPath, handler, this), 0);
  EXPECT_GE(sd_bus_request_name(bus, "org.freedesktop.login1", 0), 0);
}

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
  const FileDescriptor given(ends[1]);
  std::string text = texts[0];
  for (const char* part : {texts[1], texts[2], texts[3]}) text.append("/").append(part);
  {
    const std::lock_guard lock(mutex_);
    locks_.push_back({text, FileDescriptor(ends[0])});
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
  bus_.performAndWait(
      [signal = "PrepareFor" + what, begins](sd_bus* bus) {
        EXPECT_GE(sd_bus_emit_signal(bus, kPath, kManager, signal.c_str(), "b", begins ? 1 : 0), 0);
      },
      std::chrono::minutes(1));
}
