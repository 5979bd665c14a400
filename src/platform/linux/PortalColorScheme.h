#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "platform/linux/Bus.h"

namespace platform {

// The colour scheme that the user prefers, as the desktop's portal tells it: the setting
// "color-scheme" of "org.freedesktop.appearance", 1 for dark. Light where nobody says. Any thread.
class PortalColorScheme {
 public:
  explicit PortalColorScheme(std::string sessionBus);

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

}  // namespace platform
