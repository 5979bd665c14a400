#pragma once

#include <memory>

#include "menu/StatusMenuController.h"

// Brings what the registry and the ends of actions report to the controller on the main thread,
// without waiting, as long as there is one. It stands between them so that neither keeps the
// controller.
class StatusMenuController::Reports : public QVRamDiskEntriesDelegate, public QVRamDiskDelegate {
 public:
  explicit Reports(std::weak_ptr<StatusMenuController> controller)
      : controller_(std::move(controller)) {}

  void ramDiskDidUpdated(const QVRamDiskPtr& ramDisk) override;
  void ramDiskEntries(QVRamDiskEntries& entries, const QVRamDiskPtr& ramDiskDidUpdated) override;
  void ramDiskEntriesUpdator(QVRamDiskEntries& entries,
                             const QVRamDiskPtr& ramDiskUpdated) override;

 private:
  const std::weak_ptr<StatusMenuController> controller_;
};
