#pragma once
// What goes over the bus in the tray protocols, as QtDBus writes and reads it.

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusVariant>
#include <QList>
#include <QMap>
#include <QMetaType>
#include <QString>
#include <QVariantMap>

namespace platform::qt {

// (iiay): pixels as ARGB, 8 bits each, most significant first.
struct BusPixmap {
  int width = 0;
  int height = 0;
  QByteArray pixels;
};

// (sa(iiay)ss)
struct BusToolTip {
  QString icon;
  QList<BusPixmap> pixmaps;
  QString title;
  QString text;
};

// (ia{sv}av): an item of a menu with what is below it.
struct BusLayout {
  int id = 0;
  QVariantMap properties;
  QList<BusLayout> children;
};

// (ia{sv})
struct BusProperties {
  int id = 0;
  QVariantMap properties;
};

// (ias): properties that an item has no more.
struct BusNames {
  int id = 0;
  QStringList names;
};

// (isvu)
struct BusEvent {
  int id = 0;
  QString name;
  QDBusVariant data;
  uint time = 0;
};

QDBusArgument& operator<<(QDBusArgument& out, const BusPixmap& value);
const QDBusArgument& operator>>(const QDBusArgument& in, BusPixmap& value);
QDBusArgument& operator<<(QDBusArgument& out, const BusToolTip& value);
const QDBusArgument& operator>>(const QDBusArgument& in, BusToolTip& value);
QDBusArgument& operator<<(QDBusArgument& out, const BusLayout& value);
const QDBusArgument& operator>>(const QDBusArgument& in, BusLayout& value);
QDBusArgument& operator<<(QDBusArgument& out, const BusProperties& value);
const QDBusArgument& operator>>(const QDBusArgument& in, BusProperties& value);
QDBusArgument& operator<<(QDBusArgument& out, const BusNames& value);
const QDBusArgument& operator>>(const QDBusArgument& in, BusNames& value);
QDBusArgument& operator<<(QDBusArgument& out, const BusEvent& value);
const QDBusArgument& operator>>(const QDBusArgument& in, BusEvent& value);

// Before the first message; more than once does no harm.
void registerBusTypes();

}  // namespace platform::qt

Q_DECLARE_METATYPE(platform::qt::BusPixmap)
Q_DECLARE_METATYPE(platform::qt::BusToolTip)
Q_DECLARE_METATYPE(platform::qt::BusLayout)
Q_DECLARE_METATYPE(platform::qt::BusProperties)
Q_DECLARE_METATYPE(platform::qt::BusNames)
Q_DECLARE_METATYPE(platform::qt::BusEvent)
