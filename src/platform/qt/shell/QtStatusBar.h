#pragma once

#include <functional>
#include <memory>

#include "menu/StatusBar.h"
#include "platform/qt/shell/QtStatusItem.h"

namespace platform::qt {

// What the session's desktop gives the status menu.
class QtStatusBar : public menu::StatusBar {
 public:
  // `terminate` ends the program as its user would.
  QtStatusBar(TrayOptions options, std::function<void()> terminate)
      : options_(std::move(options)), terminate_(std::move(terminate)) {}

  std::shared_ptr<menu::StatusItem> statusItemWithLength(double length) override;
  void activateIgnoringOtherApps() override;
  void terminate() override { terminate_(); }

 private:
  const TrayOptions options_;
  const std::function<void()> terminate_;
};

// For the desktop that the program runs on. After the application object was made.
TrayOptions trayOptionsOfSession();

}  // namespace platform::qt
