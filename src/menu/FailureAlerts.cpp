#include "menu/FailureAlerts.h"

#include <utility>

#include "platform/Services.h"

namespace menu {

void FailureAlerts::tell(std::string title, const QVErrorPtr& error) {
  if (error->isNotified()) return;
  error->setIsNotified(true);
  waiting_.push_back({std::move(title), error});
  platform::services().mainLoop->post([self = shared_from_this()] { self->showNext(); });
}

// While an alert is up the loop goes on, and with it other actions and their failures: these wait
// for their turn.
void FailureAlerts::showNext() {
  if (isShowing_) return;
  isShowing_ = true;
  while (!waiting_.empty()) {
    const Failure next = std::move(waiting_.front());
    waiting_.pop_front();
    next.error->presentWIthTitle(next.title);
  }
  isShowing_ = false;
}

}  // namespace menu
