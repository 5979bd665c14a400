#include "platform/qt/settings/SingleWindow.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QVariantMap>

#include "core/Identifiers.h"

namespace platform::qt {
namespace {

constexpr char kPath[] = "/com/tarnvale/Tarnvale";
constexpr char kInterface[] = "org.freedesktop.Application";
constexpr char kActivate[] = "Activate";
constexpr int kPatience = 3000;  // milliseconds

}  // namespace

bool SingleWindow::claim() {
  auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return true;
  bus.registerVirtualObject(kPath, this);
  if (bus.registerService(kMainAppBundleId)) return true;
  auto call = QDBusMessage::createMethodCall(kMainAppBundleId, kPath, kInterface, kActivate);
  call << QVariantMap();
  bus.call(call, QDBus::Block, kPatience);
  return false;
}

QString SingleWindow::introspect(const QString&) const {
  return QStringLiteral(
      "<interface name=\"org.freedesktop.Application\"><method name=\"Activate\">"
      "<arg type=\"a{sv}\" name=\"platform_data\" direction=\"in\"/></method></interface>");
}

bool SingleWindow::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
  if (message.interface() != QLatin1String(kInterface) ||
      message.member() != QLatin1String(kActivate))
    return false;
  if (activated) activated();
  connection.send(message.createReply());
  return true;
}

}  // namespace platform::qt
