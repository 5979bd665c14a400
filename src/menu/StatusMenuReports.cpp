#include "menu/StatusMenuReports.h"

#include "platform/Services.h"

// Only the end of an action is dealt with. A stage that was brought there late could not be told
// from it any more.
void StatusMenuController::Reports::ramDiskDidUpdated(const QVRamDiskPtr& ramDisk) {
  if (ramDisk->action() != QVRamDiskActionNone) return;
  platform::services().mainLoop->post([to = controller_, ramDisk] {
    if (const auto controller = to.lock()) controller->mt_ramDiskDidUpdated(ramDisk);
  });
}

void StatusMenuController::Reports::ramDiskEntries(QVRamDiskEntries&, const QVRamDiskPtr& ramDisk) {
  ramDiskDidUpdated(ramDisk);
}

void StatusMenuController::Reports::ramDiskEntriesUpdator(QVRamDiskEntries&, const QVRamDiskPtr&) {
  if (const auto controller = controller_.lock()) controller->updateDiskWarning();
}
