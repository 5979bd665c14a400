#include "platform/qt/shell/ExportedMenu.h"

#include <utility>

#include "platform/qt/shell/BusMessages.h"
#include "platform/qt/shell/MenuLook.h"

namespace platform::qt {
namespace {

constexpr char kMenuInterface[] = "com.canonical.dbusmenu";

const char kMenuIntrospection[] = R"xml(<interface name="com.canonical.dbusmenu">
<property name="Version" type="u" access="read"/>
<property name="TextDirection" type="s" access="read"/>
<property name="Status" type="s" access="read"/>
<property name="IconThemePath" type="as" access="read"/>
<method name="GetLayout"><arg type="i" direction="in"/><arg type="i" direction="in"/>
<arg type="as" direction="in"/><arg type="u" direction="out"/>
<arg type="(ia{sv}av)" direction="out"/></method>
<method name="GetGroupProperties"><arg type="ai" direction="in"/><arg type="as" direction="in"/>
<arg type="a(ia{sv})" direction="out"/></method>
<method name="GetProperty"><arg type="i" direction="in"/><arg type="s" direction="in"/>
<arg type="v" direction="out"/></method>
<method name="Event"><arg type="i" direction="in"/><arg type="s" direction="in"/>
<arg type="v" direction="in"/><arg type="u" direction="in"/></method>
<method name="EventGroup"><arg type="a(isvu)" direction="in"/><arg type="ai" direction="out"/></method>
<method name="AboutToShow"><arg type="i" direction="in"/><arg type="b" direction="out"/></method>
<method name="AboutToShowGroup"><arg type="ai" direction="in"/><arg type="ai" direction="out"/>
<arg type="ai" direction="out"/></method>
<signal name="ItemsPropertiesUpdated"><arg type="a(ia{sv})"/><arg type="a(ias)"/></signal>
<signal name="LayoutUpdated"><arg type="u"/><arg type="i"/></signal>
<signal name="ItemActivationRequested"><arg type="i"/><arg type="u"/></signal>
</interface>)xml";

const QVariantMap& ownProperties() {
  static const QVariantMap kOwn = {{"Version", 3U},
                                   {"TextDirection", "ltr"},
                                   {"Status", "normal"},
                                   {"IconThemePath", QStringList()}};
  return kOwn;
}

}  // namespace

ExportedMenu::ExportedMenu(QDBusConnection bus, menu::MenuPtr menu)
    : bus_(std::move(bus)),
      items_(std::move(menu), {[this](int id) { tellFilled(id); },
                               [this](const auto& changes) { tellChanged(changes); }}) {
  registerBusTypes();
}

QString ExportedMenu::introspect(const QString& /*path*/) const {
  return QLatin1String(kMenuIntrospection);
}

const std::map<QString, ExportedMenu::Method>& ExportedMenu::methods() {
  static const std::map<QString, Method> kMethods = {
      {"GetLayout", {"iias", &ExportedMenu::getLayout}},
      {"GetGroupProperties", {"aias", &ExportedMenu::getGroupProperties}},
      {"GetProperty", {"is", &ExportedMenu::getProperty}},
      {"AboutToShow", {"i", &ExportedMenu::aboutToShow}},
      {"AboutToShowGroup", {"ai", &ExportedMenu::aboutToShowGroup}},
      {"Event", {"isvu", &ExportedMenu::event}},
      {"EventGroup", {"a(isvu)", &ExportedMenu::eventGroup}}};
  return kMethods;
}

bool ExportedMenu::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
  if (answersProperties(message, connection, ownProperties())) return true;
  if (message.interface() != QLatin1String(kMenuInterface)) return false;
  const QDBusMessage answer = reply(message);
  if (message.isReplyRequired()) connection.send(answer);
  return true;
}

QDBusMessage ExportedMenu::reply(const QDBusMessage& message) {
  const auto method = methods().find(message.member());
  if (method == methods().end())
    return message.createErrorReply(QDBusError::UnknownMethod, message.member());
  if (message.signature() != method->second.signature)
    return message.createErrorReply(QDBusError::InvalidArgs, message.signature());
  const Answer answer = (this->*method->second.answer)(message.arguments());
  if (answer) return message.createReply(*answer);
  return message.createErrorReply(QDBusError::InvalidArgs, QStringLiteral("There is no such item"));
}

ExportedMenu::Answer ExportedMenu::getLayout(const Arguments& asked) {
  const int id = asked[0].toInt();
  if (!items_.has(id)) return std::nullopt;
  const auto made = items_.layout(id, asked[1].toInt(), asked[2].toStringList());
  return Arguments{revision_, QVariant::fromValue(made)};
}

// Without numbers, of all.
ExportedMenu::Answer ExportedMenu::getGroupProperties(const Arguments& asked) {
  auto ids = qdbus_cast<QList<int>>(asked[0]);
  if (ids.isEmpty()) ids = items_.all();
  QList<BusProperties> found;
  for (const int id : ids)
    if (items_.has(id)) found.push_back({id, items_.properties(id, asked[1].toStringList())});
  return Arguments{QVariant::fromValue(found)};
}

ExportedMenu::Answer ExportedMenu::getProperty(const Arguments& asked) {
  const int id = asked[0].toInt();
  const QString name = asked[1].toString();
  if (!items_.has(id)) return std::nullopt;
  const auto values = items_.properties(id, {name});
  if (!values.contains(name)) return std::nullopt;
  return Arguments{QVariant::fromValue(QDBusVariant(values[name]))};
}

ExportedMenu::Answer ExportedMenu::aboutToShow(const Arguments& asked) {
  const int id = asked[0].toInt();
  if (!items_.has(id)) return std::nullopt;
  return Arguments{items_.show(id)};
}

ExportedMenu::Answer ExportedMenu::aboutToShowGroup(const Arguments& asked) {
  QList<int> updated;
  QList<int> unknown;
  for (const int id : qdbus_cast<QList<int>>(asked[0])) {
    if (!items_.has(id))
      unknown.push_back(id);
    else if (items_.show(id))
      updated.push_back(id);
  }
  return Arguments{QVariant::fromValue(updated), QVariant::fromValue(unknown)};
}

ExportedMenu::Answer ExportedMenu::event(const Arguments& asked) {
  if (!happened(asked[0].toInt(), asked[1].toString())) return std::nullopt;
  return Arguments{};
}

ExportedMenu::Answer ExportedMenu::eventGroup(const Arguments& asked) {
  QList<int> unknown;
  for (const auto& each : qdbus_cast<QList<BusEvent>>(asked[0]))
    if (!happened(each.id, each.name)) unknown.push_back(each.id);
  return Arguments{QVariant::fromValue(unknown)};
}

bool ExportedMenu::happened(int id, const QString& name) {
  if (!items_.has(id)) return false;
  if (name == QLatin1String("clicked")) clicked(id);
  if (name == QLatin1String("opened")) items_.opened(id);
  if (name == QLatin1String("closed")) items_.hide(id);
  return true;
}

// A click ends the whole menu, also where the desktop does not say so.
void ExportedMenu::clicked(int id) {
  if (const auto item = items_.item(id)) clickLater(item);
  items_.hide(ExportedItems::kRoot);
}

void ExportedMenu::tellFilled(int id) { tell(QStringLiteral("LayoutUpdated"), {++revision_, id}); }

void ExportedMenu::tellChanged(const ExportedItems::Changes& changes) {
  tell(QStringLiteral("ItemsPropertiesUpdated"),
       {QVariant::fromValue(changes.set), QVariant::fromValue(changes.unset)});
}

void ExportedMenu::tell(const QString& signal, const QVariantList& arguments) {
  auto message =
      QDBusMessage::createSignal(QLatin1String(kPath), QLatin1String(kMenuInterface), signal);
  message.setArguments(arguments);
  bus_.send(message);
}

}  // namespace platform::qt
