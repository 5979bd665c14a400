#pragma once

#include <deque>
#include <memory>

#include "platform/Alerts.h"

namespace menu {

// Tells the user of failures, one after the other. Main thread only. Held by a shared pointer.
class FailureAlerts : public std::enable_shared_from_this<FailureAlerts> {
 public:
  // Returns at once; the main loop shows it.
  void tell(platform::Alert failure);

 private:
  void showNext();

  std::deque<platform::Alert> waiting_;
  bool isShowing_ = false;
};

}  // namespace menu
