#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/MainLoop.h"
#include "platform/Program.h"
#include "platform/Session.h"
#include "platform/linux/Bus.h"

namespace platform {

// Shutdown and sleep as logind announces them, "PrepareForShutdown" and "PrepareForSleep", held
// back by its delay lock: logind goes on when the lock is released, or after the time that its
// configuration grants (InhibitDelayMaxSec, five seconds where nobody changed it). The system bus
// is reached for at the first observer or hold.
//
// What was held when sleep or a shutdown was announced is held again when the sleep is over or the
// shutdown was called off, also if it was released for it; so is what is held when logind starts
// anew. Announcements of anybody but logind are passed over.
class LogindSessionEnd : public SessionEnd {
 public:
  LogindSessionEnd(std::shared_ptr<MainLoop> mainLoop, std::shared_ptr<SystemLog> log,
                   std::string systemBus);
  ~LogindSessionEnd() override;

  // The first call waits until the bus has agreed to pass announcements on, at most a second.
  void observe(std::function<void()> announced) override;
  // Waits for logind's answer, which takes no time unless the bus or logind hangs; then four
  // seconds.
  bool hold(const std::string& why) override;
  void release() override;

 private:
  struct Observed;  // main thread only

  Bus& bus();
  bool isHeld();
  // On the bus's thread.
  void opened(sd_bus* bus);
  void closed(int code);
  void prepares(sd_bus_message* message);
  void comesOrGoes(sd_bus_message* message);
  void announce();
  void isOver(sd_bus* bus);
  void take(sd_bus* bus);

  const std::shared_ptr<MainLoop> mainLoop_;
  const std::shared_ptr<SystemLog> log_;
  const std::string address_;
  const std::shared_ptr<Observed> observed_;
  const BusListener preparing_;
  const BusListener owning_;
  std::string owner_;  // logind's name on the bus; the bus's thread only

  std::mutex mutex_;                   // guards what follows
  std::optional<std::string> wanted_;  // why it is held
  std::optional<std::string> again_;   // why it was held at the announcement
  Descriptor lock_;

  std::optional<Bus> bus_;  // last: its thread uses everything above
};

}  // namespace platform
