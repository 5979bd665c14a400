#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/Program.h"
#include "platform/Session.h"
#include "platform/linux/Bus.h"
#include "platform/posix/LocalNotifications.h"

namespace platform {

// Notifications over the bus of the user's session. It is reached for at the first post or
// observer, not before: a program that needs neither does not pay for it.
//
// Observers of this program get what it posts without the bus, whether there is one or not, and
// once. Others get it in the order posted. The bus admits programs of its user only (and of the
// superuser), and one that another user runs is not used; who posts among those is what the object
// says. Messages that are no notification are passed over in silence.
//
// Without a bus there is one line in the log and nothing is carried. When it goes away, what is
// posted meanwhile does not reach others, nor theirs this program; it is used again when it is
// back.
class LinuxNotifications : public Notifications {
 public:
  LinuxNotifications(std::shared_ptr<MainLoop> mainLoop, std::shared_ptr<SystemLog> log,
                     std::string sessionBus);
  // What was posted is still sent.
  ~LinuxNotifications() override;

  void post(const Notification& notification) override;

  // The first call waits until the bus has agreed to pass notifications on, at most a second: what
  // others post after it is not missed.
  ObserverId observe(const std::string& name, Observer observer) override;
  void remove(ObserverId observer) override;

 private:
  class UnderWay;

  Bus& bus();
  void opened(sd_bus* bus);
  void closed(int code);
  void subscribe(sd_bus* bus);
  void received(sd_bus_message* message);
  void inform(const std::string& text) const;
  void warn(const std::string& text) const;

  const std::shared_ptr<MainLoop> mainLoop_;
  const std::shared_ptr<SystemLog> log_;
  const std::string address_;
  LocalNotifications local_;
  const std::shared_ptr<UnderWay> underWay_;
  const BusListener listener_;
  std::atomic<bool> observes_{false};
  bool isSubscribed_ = false;  // the bus's thread only
  bool wasLost_ = false;       // the bus's thread only
  std::once_flag reached_;
  std::optional<Bus> bus_;  // last: its thread uses everything above
};

}  // namespace platform
