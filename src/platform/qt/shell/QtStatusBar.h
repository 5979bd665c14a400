#pragma once

#include <QDBusConnection>
#include <chrono>
#include <functional>
#include <memory>

#include "menu/StatusBar.h"

namespace platform::qt {

struct TrayOptions {
  QDBusConnection bus;  // the session's, may be closed
  bool isX11 = true;    // elsewhere the desktop draws menus, and there is no other tray
  // The time that a tray has to come before the menu becomes a window: at login panels start later.
  std::chrono::milliseconds patience{15'000};
};

// For the desktop that the program runs on. After the application object was made.
TrayOptions trayOptionsOfSession();

// What the session's desktop gives the status menu: an item that moves as trays come and go.
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

}  // namespace platform::qt
