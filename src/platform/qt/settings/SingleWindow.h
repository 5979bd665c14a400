#pragma once

#include <QDBusVirtualObject>
#include <functional>

namespace platform::qt {

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
