#include "platform/qt/shell/StatusNotifier.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QtEndian>
#include <utility>

#include "core/QVLocalized.h"
#include "platform/qt/QtText.h"
#include "platform/qt/shell/BusMessages.h"
#include "platform/qt/shell/MenuLook.h"

namespace platform::qt {
namespace {

constexpr char kItem[] = "org.kde.StatusNotifierItem";
constexpr char kWatcher[] = "org.kde.StatusNotifierWatcher";
constexpr char kWatcherPath[] = "/StatusNotifierWatcher";
constexpr char kTitle[] = "Tarnvale";
constexpr double kScales[] = {1, 2};

const char kIntrospection[] = R"xml(<interface name="org.kde.StatusNotifierItem">
<property name="Category" type="s" access="read"/><property name="Id" type="s" access="read"/>
<property name="Title" type="s" access="read"/><property name="Status" type="s" access="read"/>
<property name="WindowId" type="i" access="read"/>
<property name="IconName" type="s" access="read"/>
<property name="IconThemePath" type="s" access="read"/>
<property name="OverlayIconName" type="s" access="read"/>
<property name="OverlayIconPixmap" type="a(iiay)" access="read"/>
<property name="AttentionIconName" type="s" access="read"/>
<property name="AttentionMovieName" type="s" access="read"/>
<property name="IconPixmap" type="a(iiay)" access="read"/>
<property name="AttentionIconPixmap" type="a(iiay)" access="read"/>
<property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
<property name="ItemIsMenu" type="b" access="read"/><property name="Menu" type="o" access="read"/>
<method name="Activate"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
<method name="SecondaryActivate"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
<method name="ContextMenu"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
<method name="Scroll"><arg type="i" direction="in"/><arg type="s" direction="in"/></method>
<signal name="NewTitle"/><signal name="NewIcon"/><signal name="NewAttentionIcon"/>
<signal name="NewToolTip"/><signal name="NewStatus"><arg type="s"/></signal>
</interface>)xml";

// Of the methods' arguments.
const QMap<QString, QString>& signatures() {
  static const QMap<QString, QString> kSignatures = {
      {"Activate", "ii"}, {"SecondaryActivate", "ii"}, {"ContextMenu", "ii"}, {"Scroll", "is"}};
  return kSignatures;
}

bool refuse(const QDBusMessage& message, const QDBusConnection& connection,
            QDBusError::ErrorType why) {
  return connection.send(message.createErrorReply(why, message.member()));
}

BusPixmap busPixmap(const QPixmap& picture) {
  const QImage image = picture.toImage().convertToFormat(QImage::Format_ARGB32);
  BusPixmap made{image.width(), image.height(), {}};
  made.pixels.resize(qsizetype{4} * image.width() * image.height());
  auto* to = made.pixels.data();
  for (int y = 0; y < image.height(); ++y, to += qsizetype{4} * image.width())
    qToBigEndian<quint32>(image.constScanLine(y), image.width(), to);
  return made;
}

}  // namespace

StatusNotifier::StatusNotifier(QDBusConnection bus, bool itemIsMenu, Calls calls)
    : bus_(std::move(bus)),
      itemIsMenu_(itemIsMenu),
      calls_(std::move(calls)),
      name_(QStringLiteral("org.kde.StatusNotifierItem-%1-1")
                .arg(QCoreApplication::applicationPid())) {
  registerBusTypes();
}

// The bus tells the trays that the item is gone.
StatusNotifier::~StatusNotifier() {
  if (!menu_) return;
  bus_.unregisterService(name_);
  bus_.unregisterObject(QLatin1String(kPath));
  bus_.unregisterObject(QLatin1String(ExportedMenu::kPath));
}

void StatusNotifier::start(const std::shared_ptr<menu::StatusItemView>& view,
                           const menu::MenuPtr& menu) {
  view_ = view;
  menu_ = std::make_unique<ExportedMenu>(bus_, menu);
  if (!bus_.isConnected()) return found(false);
  bus_.registerVirtualObject(QLatin1String(kPath), this);
  bus_.registerVirtualObject(QLatin1String(ExportedMenu::kPath), menu_.get());
  bus_.registerService(name_);
  watcher_.setConnection(bus_);
  watcher_.addWatchedService(QLatin1String(kWatcher));
  QObject::connect(&watcher_, &QDBusServiceWatcher::serviceRegistered, this, [this] { offer(); });
  QObject::connect(&watcher_, &QDBusServiceWatcher::serviceUnregistered, this,
                   [this] { found(false); });
  for (const char* change : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"})
    bus_.connect(QLatin1String(kWatcher), QLatin1String(kWatcherPath), QLatin1String(kWatcher),
                 QLatin1String(change), this, SLOT(look()));
  offer();
}

void StatusNotifier::offer() {
  auto call = QDBusMessage::createMethodCall(QLatin1String(kWatcher), QLatin1String(kWatcherPath),
                                             QLatin1String(kWatcher),
                                             QStringLiteral("RegisterStatusNotifierItem"));
  call << name_;
  call.setAutoStartService(false);
  bus_.send(call);
  look();
}

// A watcher without a tray keeps the item for one that comes.
void StatusNotifier::look() {
  auto call = QDBusMessage::createMethodCall(QLatin1String(kWatcher), QLatin1String(kWatcherPath),
                                             QStringLiteral("org.freedesktop.DBus.Properties"),
                                             QStringLiteral("Get"));
  call << QString::fromLatin1(kWatcher) << QStringLiteral("IsStatusNotifierHostRegistered");
  call.setAutoStartService(false);
  auto waiting = std::make_unique<QDBusPendingCallWatcher>(bus_.asyncCall(call), this);
  QObject::connect(waiting.get(), &QDBusPendingCallWatcher::finished, this,
                   [this](QDBusPendingCallWatcher* ended) {
                     const QDBusPendingReply<QDBusVariant> reply = *ended;
                     ended->deleteLater();
                     found(!reply.isError() && reply.value().variant().toBool());
                   });
  static_cast<void>(waiting.release());  // it deletes itself
}

void StatusNotifier::found(bool host) {
  const bool isNew = !isKnown_ || hasHost_ != host;
  isKnown_ = true;
  hasHost_ = host;
  if (isNew) calls_.hostsChanged();
}

bool StatusNotifier::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
  if (message.path() != QLatin1String(kPath)) return false;
  if (answersProperties(message, connection, properties())) return true;
  if (message.interface() != QLatin1String(kItem)) return false;
  const auto signature = signatures().constFind(message.member());
  if (signature == signatures().constEnd())
    return refuse(message, connection, QDBusError::UnknownMethod);
  if (*signature != message.signature())
    return refuse(message, connection, QDBusError::InvalidArgs);
  if (message.isReplyRequired()) connection.send(message.createReply());
  perform(message.member(), message.arguments());
  return true;
}

// Clicks come with the place on the screen.
void StatusNotifier::perform(const QString& member, const QVariantList& arguments) const {
  const QPoint at(arguments[0].toInt(), arguments[1].toInt());
  if (member == QLatin1String("ContextMenu")) calls_.contextWanted(at);
  if (member == QLatin1String("Activate") || member == QLatin1String("SecondaryActivate"))
    calls_.activated(at);
}

QString StatusNotifier::introspect(const QString& /*path*/) const {
  return QLatin1String(kIntrospection);
}

QString StatusNotifier::status() const {
  return view_->isWarn() ? QStringLiteral("NeedsAttention") : QStringLiteral("Active");
}

QString StatusNotifier::warning() const {
  return view_->isWarn() ? qtText(QVLocalized("A RAM disk is nearly full")) : QString();
}

QVariantMap StatusNotifier::properties() const {
  QList<BusPixmap> pictures;
  for (const double scale : kScales) pictures.push_back(busPixmap(pictureOf(*view_, scale)));
  return {{"Category", "SystemServices"},
          {"Id", "tarnvale"},
          {"Title", QLatin1String(kTitle)},
          {"Status", status()},
          {"WindowId", 0},
          {"IconName", QString()},
          {"IconThemePath", QString()},
          {"OverlayIconName", QString()},
          {"OverlayIconPixmap", QVariant::fromValue(QList<BusPixmap>())},
          {"AttentionIconName", QString()},
          {"AttentionMovieName", QString()},
          {"IconPixmap", QVariant::fromValue(pictures)},
          {"AttentionIconPixmap", QVariant::fromValue(pictures)},
          {"ToolTip", QVariant::fromValue(BusToolTip{{}, {}, kTitle, warning()})},
          {"ItemIsMenu", itemIsMenu_},
          {"Menu", QVariant::fromValue(QDBusObjectPath(ExportedMenu::kPath))}};
}

void StatusNotifier::viewChanged() {
  if (!menu_ || !bus_.isConnected()) return;
  tell(QStringLiteral("NewIcon"));
  tell(QStringLiteral("NewAttentionIcon"));
  if (std::exchange(toldStatus_, status()) == status()) return;
  tell(QStringLiteral("NewStatus"), {status()});
  tell(QStringLiteral("NewToolTip"));
}

void StatusNotifier::menuOutdated() {
  if (menu_ && hasHost_) menu_->outdated();
}

void StatusNotifier::tell(const QString& signal, const QVariantList& arguments) {
  auto message = QDBusMessage::createSignal(QLatin1String(kPath), QLatin1String(kItem), signal);
  message.setArguments(arguments);
  bus_.send(message);
}

}  // namespace platform::qt
