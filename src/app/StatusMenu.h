#pragma once

#include <memory>

#include "app/Menu.h"
#include "menu/StatusMenuController.h"

namespace app {

// The status menu as the delegate knows it. Main thread only.
class StatusMenu : public Menu {
 public:
  explicit StatusMenu(std::shared_ptr<StatusMenuController> controller)
      : controller_(std::move(controller)) {}

  std::shared_ptr<QVRamDiskEntries> ramDiskEntries() override {
    return controller_->ramDiskEntries();
  }
  bool isBusy() const override { return controller_->isBusy(); }
  void wantTerminate() override { controller_->wantTerminate(); }

  const std::shared_ptr<StatusMenuController>& controller() const { return controller_; }

 private:
  const std::shared_ptr<StatusMenuController> controller_;
};

// Makes status menus on this bar; none without one.
MenuFactory statusMenuFactory(std::shared_ptr<menu::StatusBar> statusBar);

}  // namespace app
