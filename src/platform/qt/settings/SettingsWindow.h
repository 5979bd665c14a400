#pragma once

#include <QDBusVirtualObject>
#include <QLabel>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

#include "platform/Session.h"
#include "platform/qt/settings/DisksPage.h"
#include "platform/qt/settings/GeneralPage.h"
#include "settings/Registry.h"

namespace platform::qt {

// The window in which RAM disks are configured. It follows what other programs change and what
// becomes of the disks while it is shown, and looks anew when the user comes back to it.
class SettingsWindow : public QWidget {
 public:
  SettingsWindow();
  ~SettingsWindow() override;

  void reload();        // reads the registry anew
  void bringForward();  // shows it above others

 protected:
  bool event(QEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  class Refresh;

  void layOut();
  void refresh();
  void tell(const settings::Outcome& outcome);

  std::shared_ptr<Refresh> refresh_;
  settings::Registry registry_;
  Notifications::ObserverId observer_ = 0;
  QLabel* banner_ = nullptr;
  QTabWidget* tabs_ = nullptr;
  DisksPage* disks_ = nullptr;
  GeneralPage* general_ = nullptr;
  QTimer reloadsSoon_;
  bool unreadable_ = false;  // the registry, when it was read last
  bool discards_ = false;
};

// The one window of its user's session, by a name on the session bus. Where there is no bus every
// start has a window of its own.
class SingleWindow : public QDBusVirtualObject {
 public:
  // Called when the program is started again.
  std::function<void()> activated;

  // NO when there is a window already; it was asked to come forward.
  bool claim();

  QString introspect(const QString& path) const override;
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;
};

}  // namespace platform::qt
