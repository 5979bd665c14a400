#pragma once

#include <QWidget>
#include <memory>

#include "platform/qt/shell/PopupMenu.h"

namespace platform::qt {

// The menu as a small window, for desktops without a tray. Closing it ends nothing. What it shows
// is brought up to date whenever the user comes to it, after every choice, and when told to.
class MenuWindow : public QWidget {
 public:
  explicit MenuWindow(const menu::MenuPtr& menu);

  void showIcon(const QIcon& icon) { setWindowIcon(icon); }
  PopupMenu& menu() { return *menu_; }
  // Not under an open submenu.
  void refresh();

 protected:
  bool event(QEvent* event) override;

 private:
  std::unique_ptr<PopupMenu> menu_;
};

}  // namespace platform::qt
