#include "menu/FailureAlerts.h"

#include <utility>

#include "extensions/ErrorText.h"
#include "platform/Services.h"
#include "ramdisk/Remedy.h"

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

namespace {

std::string remedyText(Hindrance remedy, const QVRamDisk& disk) {
  remedy.facts.subject = disk.displayName().value_or("");
  return whatHelps(remedy.trouble, remedy.facts);
}

}  // namespace

std::string failureText(const QVError& error, const QVRamDisk& disk, QVRamDiskAction action) {
  std::string text = error.message();
  for (const auto& line :
       {extensions::causeText(error), remedyText(remedyFor(error, disk, action), disk)})
    if (!line.empty()) text += "\n" + line;
  return text;
}

}  // namespace menu
