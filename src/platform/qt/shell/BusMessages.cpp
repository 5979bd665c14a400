#include "platform/qt/shell/BusMessages.h"

#include <QDBusMetaType>

namespace platform::qt {
namespace {

QDBusMessage valueReply(const QDBusMessage& message, const QVariantMap& properties) {
  const QString name = message.arguments().value(1).toString();
  const auto found = properties.constFind(name);
  if (found != properties.constEnd())
    return message.createReply(QVariant::fromValue(QDBusVariant(*found)));
  return message.createErrorReply(QDBusError::UnknownProperty, name);
}

template <class... Values>
void registerEach() {
  (qDBusRegisterMetaType<Values>(), ...);
}

}  // namespace

QDBusArgument& operator<<(QDBusArgument& out, const BusLayout& value) {
  out.beginStructure();
  out << value.id << value.properties;
  out.beginArray(QMetaType::fromType<QDBusVariant>());
  for (const auto& child : value.children) out << QDBusVariant(QVariant::fromValue(child));
  out.endArray();
  out.endStructure();
  return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, BusLayout& value) {
  in.beginStructure();
  in >> value.id >> value.properties;
  in.beginArray();
  value.children.clear();
  while (!in.atEnd()) {
    QDBusVariant child;
    in >> child;
    value.children.push_back(qdbus_cast<BusLayout>(child.variant()));
  }
  in.endArray();
  in.endStructure();
  return in;
}

void registerBusTypes() {
  registerEach<BusPixmap, QList<BusPixmap>, BusToolTip, BusLayout, BusProperties,
               QList<BusProperties>, BusNames, QList<BusNames>, BusEvent, QList<BusEvent>,
               QList<int>>();
}

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
