#pragma once

#include <memory>

#include "platform/MainLoop.h"
#include "platform/Session.h"

namespace platform {

// Notifications within this process, carried by the main loop. An observer removed on the main
// thread is not called any more, also for what was posted before.
class LocalNotifications : public Notifications {
 public:
  explicit LocalNotifications(std::shared_ptr<MainLoop> mainLoop);
  ~LocalNotifications() override;

  void post(const Notification& notification) override;
  ObserverId observe(const std::string& name, Observer observer) override;
  void remove(ObserverId observer) override;

  // What the main loop has to run to deliver the notification.
  MainLoop::Task delivery(const Notification& notification) const;

 private:
  class Observers;
  std::shared_ptr<MainLoop> mainLoop_;
  std::shared_ptr<Observers> observers_;  // shared with what is under way
};

}  // namespace platform
