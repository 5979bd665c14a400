#include "platform/qt/shell/QtStatusBar.h"

#include <QApplication>
#include <QWidget>

namespace platform::qt {

std::shared_ptr<menu::StatusItem> QtStatusBar::statusItemWithLength(double /*length*/) {
  return std::make_shared<QtStatusItem>(options_);
}

void QtStatusBar::activateIgnoringOtherApps() {
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (!window->isVisible() || window->windowType() == Qt::Popup) continue;
    window->raise();
    window->activateWindow();
  }
}

TrayOptions trayOptionsOfSession() {
  const bool isX11 = QGuiApplication::platformName() == QLatin1String("xcb");
  return {QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("tray")),
          isX11};
}

}  // namespace platform::qt
