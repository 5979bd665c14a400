#pragma once

#include <QBasicTimer>
#include <QObject>
#include <QSystemTrayIcon>
#include <chrono>
#include <memory>

#include "menu/StatusBar.h"
#include "menu/StatusItemView.h"
#include "platform/qt/shell/MenuWindow.h"
#include "platform/qt/shell/PopupMenu.h"
#include "platform/qt/shell/StatusNotifier.h"
#include "platform/qt/shell/TrayPresence.h"

namespace platform::qt {

// How the item shows, the best way first.
enum class TrayWay : std::uint8_t {
  None,      // not found out, or a tray is still given time to come
  Notifier,  // in a tray that is reached over the session bus
  XEmbed,    // in a tray of the X display
  Window,    // there is none: the menu is a window
};

struct TrayOptions {
  QDBusConnection bus;  // the session's, may be closed
  bool isX11 = true;    // elsewhere the desktop draws menus, and there is no other tray
  // The time that a tray has to come before the menu becomes a window: at login panels start later.
  std::chrono::milliseconds patience{15'000};
};

// The item in whatever tray there is. When trays come and go it moves.
class QtStatusItem : public menu::StatusItem, private QObject {
 public:
  explicit QtStatusItem(TrayOptions options);
  ~QtStatusItem() override;

  void setMenu(menu::MenuPtr menu) override;
  void setView(std::shared_ptr<menu::StatusItemView> view) override;
  void popUpStatusItemMenu() override;

  TrayWay way() const { return way_; }
  PopupMenu* popup() { return popup_.get(); }
  MenuWindow* window() { return window_.get(); }

 private:
  void startWhenComplete();
  void decide();
  void look();
  void moveTo(TrayWay way);
  bool hasXTray() const;
  void showInXTray();
  void showWindow();
  void press(bool withLeft, QPoint at);
  QPoint placeAtXTray() const;
  void viewChanged();
  void menuOutdated();
  QIcon icon() const;
  void timerEvent(QTimerEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

  const TrayOptions options_;
  menu::MenuPtr menu_;
  std::shared_ptr<menu::StatusItemView> view_;
  StatusNotifier notifier_;
  std::unique_ptr<QSystemTrayIcon> trayIcon_;
  std::unique_ptr<TrayPresence> presence_;
  std::unique_ptr<PopupMenu> popup_;
  std::unique_ptr<MenuWindow> window_;
  TrayWay way_ = TrayWay::None;
  QPoint place_;
  QBasicTimer patience_;
  bool isLooking_ = false;
  bool hasSaidSo_ = false;
  bool isOutdated_ = false;
};

}  // namespace platform::qt
