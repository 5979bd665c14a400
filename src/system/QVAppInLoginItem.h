#pragma once

#include <cstdint>
#include <memory>

#include "platform/Alerts.h"

// The running application among the programs started at login. Main thread only.
class QVAppInLoginItem {
 public:
  using Window = std::shared_ptr<platform::Window>;

  // 1 when an item starts this application, -1 when one only bears its name, 0 for none.
  static std::int64_t loginItemStatus();

  // The list is the user's to change: this shows how to, whatever is asked for.
  static void setIsLoginItem(bool isLoginItem, const Window& sender);

  // Instructions, on the window where alerts can be sheets; its second button opens the system's
  // settings. Without a sheet the answer is not looked at.
  static void showHowTo(const Window& window);
};
