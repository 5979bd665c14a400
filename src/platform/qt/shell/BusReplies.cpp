#include "platform/qt/shell/BusReplies.h"

#include <QDBusVariant>

namespace platform::qt {
namespace {

QDBusMessage valueReply(const QDBusMessage& message, const QVariantMap& properties) {
  const QString name = message.arguments().value(1).toString();
  const auto found = properties.constFind(name);
  if (found != properties.constEnd())
    return message.createReply(QVariant::fromValue(QDBusVariant(*found)));
  return message.createErrorReply(QDBusError::UnknownProperty, name);
}

}  // namespace

bool answersProperties(const QDBusMessage& message, const QDBusConnection& connection,
                       const QVariantMap& properties) {
  if (message.interface() != QLatin1String("org.freedesktop.DBus.Properties")) return false;
  if (message.member() == QLatin1String("GetAll"))
    return connection.send(message.createReply(QVariant(properties)));
  if (message.member() == QLatin1String("Get"))
    return connection.send(valueReply(message, properties));
  return false;
}

}  // namespace platform::qt
