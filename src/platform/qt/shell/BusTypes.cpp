#include "platform/qt/shell/BusTypes.h"

#include <QDBusMetaType>

namespace platform::qt {

QDBusArgument& operator<<(QDBusArgument& out, const BusPixmap& value) {
  out.beginStructure();
  out << value.width << value.height << value.pixels;
  out.endStructure();
  return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, BusPixmap& value) {
  in.beginStructure();
  in >> value.width >> value.height >> value.pixels;
  in.endStructure();
  return in;
}

QDBusArgument& operator<<(QDBusArgument& out, const BusToolTip& value) {
  out.beginStructure();
  out << value.icon << value.pixmaps << value.title << value.text;
  out.endStructure();
  return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, BusToolTip& value) {
  in.beginStructure();
  in >> value.icon >> value.pixmaps >> value.title >> value.text;
  in.endStructure();
  return in;
}

// Children are variants that hold the same again.
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

QDBusArgument& operator<<(QDBusArgument& out, const BusProperties& value) {
  out.beginStructure();
  out << value.id << value.properties;
  out.endStructure();
  return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, BusProperties& value) {
  in.beginStructure();
  in >> value.id >> value.properties;
  in.endStructure();
  return in;
}

QDBusArgument& operator<<(QDBusArgument& out, const BusNames& value) {
  out.beginStructure();
  out << value.id << value.names;
  out.endStructure();
  return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, BusNames& value) {
  in.beginStructure();
  in >> value.id >> value.names;
  in.endStructure();
  return in;
}

QDBusArgument& operator<<(QDBusArgument& out, const BusEvent& value) {
  out.beginStructure();
  out << value.id << value.name << value.data << value.time;
  out.endStructure();
  return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, BusEvent& value) {
  in.beginStructure();
  in >> value.id >> value.name >> value.data >> value.time;
  in.endStructure();
  return in;
}

void registerBusTypes() {
  qDBusRegisterMetaType<BusPixmap>();
  qDBusRegisterMetaType<QList<BusPixmap>>();
  qDBusRegisterMetaType<BusToolTip>();
  qDBusRegisterMetaType<BusLayout>();
  qDBusRegisterMetaType<BusProperties>();
  qDBusRegisterMetaType<QList<BusProperties>>();
  qDBusRegisterMetaType<BusNames>();
  qDBusRegisterMetaType<QList<BusNames>>();
  qDBusRegisterMetaType<BusEvent>();
  qDBusRegisterMetaType<QList<BusEvent>>();
  qDBusRegisterMetaType<QList<int>>();
}

}  // namespace platform::qt
