#pragma once
// What goes over the bus in the tray protocols, as QtDBus writes and reads it.

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariantMap>
#include <tuple>

namespace platform::qt {

// (iiay): pixels as ARGB, 8 bits each, most significant first.
struct BusPixmap {
  int width = 0;
  int height = 0;
  QByteArray pixels;

  static constexpr auto kParts =
      std::tuple(&BusPixmap::width, &BusPixmap::height, &BusPixmap::pixels);
};

// (sa(iiay)ss)
struct BusToolTip {
  QString icon;
  QList<BusPixmap> pixmaps;
  QString title;
  QString text;

  static constexpr auto kParts =
      std::tuple(&BusToolTip::icon, &BusToolTip::pixmaps, &BusToolTip::title, &BusToolTip::text);
};

// (ia{sv}): an item's properties.
struct BusProperties {
  int id = 0;
  QVariantMap properties;

  static constexpr auto kParts = std::tuple(&BusProperties::id, &BusProperties::properties);
};

// (ias): properties that an item has no more.
struct BusNames {
  int id = 0;
  QStringList names;

  static constexpr auto kParts = std::tuple(&BusNames::id, &BusNames::names);
};

// (isvu)
struct BusEvent {
  int id = 0;
  QString name;
  QDBusVariant data;
  uint time = 0;

  static constexpr auto kParts =
      std::tuple(&BusEvent::id, &BusEvent::name, &BusEvent::data, &BusEvent::time);
};

// (ia{sv}av): an item of a menu with what is below it. Children are variants that hold the same
// again.
struct BusLayout {
  int id = 0;
  QVariantMap properties;
  QList<BusLayout> children;
};

// A structure is its parts in their order.
template <class Value>
concept BusStructure = requires {
  Value::kParts;
};

template <BusStructure Value>
QDBusArgument& operator<<(QDBusArgument& out, const Value& value) {
  out.beginStructure();
  std::apply([&](auto... part) { (out << ... << (value.*part)); }, Value::kParts);
  out.endStructure();
  return out;
}

template <BusStructure Value>
const QDBusArgument& operator>>(const QDBusArgument& in, Value& value) {
  in.beginStructure();
  std::apply([&](auto... part) { (in >> ... >> (value.*part)); }, Value::kParts);
  in.endStructure();
  return in;
}

QDBusArgument& operator<<(QDBusArgument& out, const BusLayout& value);
const QDBusArgument& operator>>(const QDBusArgument& in, BusLayout& value);

// Before the first message; more than once does no harm.
void registerBusTypes();

// Answers what is asked of an object's read-only properties. NO when the message asks for something
// else.
bool answersProperties(const QDBusMessage& message, const QDBusConnection& connection,
                       const QVariantMap& properties);

}  // namespace platform::qt

Q_DECLARE_METATYPE(platform::qt::BusPixmap)
Q_DECLARE_METATYPE(platform::qt::BusToolTip)
Q_DECLARE_METATYPE(platform::qt::BusLayout)
Q_DECLARE_METATYPE(platform::qt::BusProperties)
Q_DECLARE_METATYPE(platform::qt::BusNames)
Q_DECLARE_METATYPE(platform::qt::BusEvent)
