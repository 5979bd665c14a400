#include "menu/FailureAlerts.h"

#include <utility>

#include "core/QVLocalized.h"
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

std::string remedyText(Remedy remedy, const QVRamDisk& disk) {
  switch (remedy) {
    case Remedy::MakeLarger:
      return QVLocalized("Make the RAM disk larger in Tarnvale.");
    case Remedy::CheckCommand:
      return QVLocalized("Try the command by hand, or change it in Tarnvale.");
    case Remedy::FreeThePlace:
      return QVLocalized("Unmount what is mounted there, or give the RAM disk another place.");
    case Remedy::CreateAnew:
      return QVLocalized("The device holds another volume. Create the RAM disk anew.");
    case Remedy::WaitForOther:
      return QVLocalized("Try again when it is done.");
    case Remedy::UndoTheRefill:
      return QVLocalizedFormat(
          "Its contents never came in whole; the command \"tarnvale recover %@\" undoes it.",
          {disk.displayName().value_or("")});
    case Remedy::LookForContents:
      return QVLocalized("The RAM disk is mounted, but its contents could not be brought back.");
    case Remedy::EndWhatUsesIt:
      return QVLocalized(
          "The RAM disk is still mounted with its contents. End what uses it, or make room for "
          "saving, and try again.");
    case Remedy::PutTheBaseBack:
      return QVLocalizedFormat(
          "The directory's own contents lie in %@; the command \"tarnvale recover %@\" puts them "
          "back.",
          {disk.savedBasePath().value_or(""), disk.displayName().value_or("")});
    case Remedy::None:
      break;
  }
  return {};
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
