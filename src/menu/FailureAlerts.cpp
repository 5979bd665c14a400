#include "menu/FailureAlerts.h"

#include <utility>

#include "platform/Services.h"

namespace menu {

void FailureAlerts::tell(platform::Alert failure) {
  waiting_.push_back(std::move(failure));
  platform::services().mainLoop->post([self = shared_from_this()] { self->showNext(); });
}

// While an alert is up the loop goes on, and with it other actions and their failures: these wait
// for their turn.
void FailureAlerts::showNext() {
  if (isShowing_) return;
  isShowing_ = true;
  while (!waiting_.empty()) {
    const platform::Alert next = std::move(waiting_.front());
    waiting_.pop_front();
    platform::services().alerts->runModal(next);
  }
  isShowing_ = false;
}

}  // namespace menu
