// The item in whatever tray there is, now or later.
//
// Desktops have one of two kinds of tray, both at once, or none, and a panel that is started anew
// takes its tray away and brings another. So the item is never "in the tray": it is shown in one of
// four ways (TrayWay), and which one is decided anew whenever a tray may have come or gone:
//
//   who tells                               what is decided, the first that holds
//   the session bus (StatusNotifier)   -->  a host shows StatusNotifierItems      Notifier
//   the X display (TrayPresence)       -->  somebody owns the display's tray      XEmbed
//   the end of the patience            -->  neither, for the time given           Window
//
// While none has come and the patience lasts the way is None: at login panels start later than we
// do, and a window that flashes up and goes is worse than a few seconds without an item. Once the
// window is shown, losing a tray leads back to None and the patience begins anew. Nothing polls.
//
// Of the X tray the toolkit knows more than it should: at its first look it settles for good on the
// bus where it finds a host there. So it is only asked to look while there is none, and its icon is
// kept, hidden, when the item moves elsewhere.
#include "platform/qt/shell/QtStatusBar.h"

#include <xcb/xcb.h>

#include <QAbstractNativeEventFilter>
#include <QApplication>
#include <QBasicTimer>
#include <QCursor>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTimer>
#include <utility>

#include "core/QVLog.h"
#include "menu/StatusItemView.h"
#include "platform/qt/shell/MenuLook.h"
#include "platform/qt/shell/PopupMenu.h"
#include "platform/qt/shell/StatusNotifier.h"

namespace platform::qt {
namespace {

constexpr double kPoints = 22;  // trays are squares
constexpr double kPixels[] = {16, 22, 24, 32, 44, 48};
constexpr std::uint8_t kSentFlag = 0x80;

// Tells when a tray may have come to the X display or gone from it. One that comes announces
// itself, one that goes takes its window along.
class TrayPresence : public QAbstractNativeEventFilter {
 public:
  explicit TrayPresence(std::function<void()> mayHaveChanged)
      : mayHaveChanged_(std::move(mayHaveChanged)) {
    QCoreApplication::instance()->installNativeEventFilter(this);
  }
  ~TrayPresence() override {
    if (QCoreApplication::instance() != nullptr)
      QCoreApplication::instance()->removeNativeEventFilter(this);
  }

  bool nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) override {
    if (type == "xcb_generic_event_t" && isOfTray(*static_cast<xcb_generic_event_t*>(message)))
      mayHaveChanged_();
    return false;
  }

 private:
  // Announcements go to the root window, which is none of ours.
  static bool isOfTray(const xcb_generic_event_t& event) {
    const int type = event.response_type & ~kSentFlag;
    if (type == XCB_DESTROY_NOTIFY) return true;
    if (type != XCB_CLIENT_MESSAGE) return false;
    const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
    return QWidget::find(message.window) == nullptr;
  }

  const std::function<void()> mayHaveChanged_;
};

// How the item shows, the best way first.
enum class TrayWay : std::uint8_t {
  None,      // not found out, or a tray is still given time to come
  Notifier,  // in a tray that is reached over the session bus
  XEmbed,    // in a tray of the X display
  Window,    // there is none: the menu is a window
};

class QtStatusItem : public menu::StatusItem, private QObject {
 public:
  explicit QtStatusItem(TrayOptions options);
  ~QtStatusItem() override;

  void setMenu(menu::MenuPtr menu) override;
  void setView(std::shared_ptr<menu::StatusItemView> view) override;
  void popUpStatusItemMenu() override;

 private:
  void startWhenComplete();
  void decide();
  void look();
  void moveTo(TrayWay way);
  bool hasXTray() const;
  void showInXTray();
  void showWindow();
  void press(bool withLeft, QPoint at);
  QPoint placeAtXTray() const;
  void viewChanged();
  void menuOutdated();
  QIcon icon() const;
  void timerEvent(QTimerEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

  const TrayOptions options_;
  menu::MenuPtr menu_;
  std::shared_ptr<menu::StatusItemView> view_;
  StatusNotifier notifier_;
  std::unique_ptr<QSystemTrayIcon> trayIcon_;
  std::unique_ptr<TrayPresence> presence_;
  std::unique_ptr<PopupMenu> popup_;
  std::unique_ptr<MenuWindow> window_;
  TrayWay way_ = TrayWay::None;
  QPoint place_;  // of the last click, where the menu opens
  QBasicTimer patience_;
  bool isLooking_ = false;
  bool hasSaidSo_ = false;  // that there is no tray, in the log
  bool isOutdated_ = false;
};

QtStatusItem::QtStatusItem(TrayOptions options)
    : options_(std::move(options)),
      notifier_(options_.bus, !options_.isX11,
                {[this] { decide(); }, [this](QPoint at) { press(true, at); },
                 [this](QPoint at) { press(false, at); }}) {
  if (options_.isX11) presence_ = std::make_unique<TrayPresence>([this] { look(); });
  qApp->installEventFilter(this);
}

QtStatusItem::~QtStatusItem() {
  if (view_) view_->needsDisplay = nullptr;
  if (menu_) menu_->becameOutdated = nullptr;
}

void QtStatusItem::setMenu(menu::MenuPtr menu) {
  menu_ = std::move(menu);
  menu_->becameOutdated = [this] { menuOutdated(); };
  popup_ = std::make_unique<PopupMenu>(menu_);
  startWhenComplete();
}

void QtStatusItem::setView(std::shared_ptr<menu::StatusItemView> view) {
  view_ = std::move(view);
  view_->setFrameSize({kPoints, kPoints});
  view_->needsDisplay = [this] { viewChanged(); };
  startWhenComplete();
}

void QtStatusItem::startWhenComplete() {
  if (menu_ && view_) notifier_.start(view_, menu_);
}

// --- Where it shows

// Several things may happen to trays at once; one look is enough.
void QtStatusItem::look() {
  if (std::exchange(isLooking_, true)) return;
  QTimer::singleShot(0, this, [this] {
    isLooking_ = false;
    decide();
  });
}

void QtStatusItem::decide() {
  if (!notifier_.isKnown()) return;
  if (notifier_.hasHost()) return moveTo(TrayWay::Notifier);
  if (hasXTray()) return moveTo(TrayWay::XEmbed);
  if (way_ == TrayWay::Window || patience_.isActive()) return;
  moveTo(TrayWay::None);
  patience_.start(static_cast<int>(options_.patience.count()), Qt::CoarseTimer, this);
}

void QtStatusItem::timerEvent(QTimerEvent* /*event*/) { moveTo(TrayWay::Window); }

void QtStatusItem::moveTo(TrayWay way) {
  patience_.stop();
  if (std::exchange(way_, way) == way) return;
  if (way != TrayWay::XEmbed && trayIcon_ && way != TrayWay::None) trayIcon_->hide();
  if (way != TrayWay::Window) window_.reset();
  if (way == TrayWay::XEmbed) showInXTray();
  if (way == TrayWay::Window) showWindow();
}

bool QtStatusItem::hasXTray() const {
  return options_.isX11 && QSystemTrayIcon::isSystemTrayAvailable();
}

void QtStatusItem::showInXTray() {
  if (!trayIcon_) {
    trayIcon_ = std::make_unique<QSystemTrayIcon>();
    QObject::connect(trayIcon_.get(), &QSystemTrayIcon::activated, this,
                     [this](QSystemTrayIcon::ActivationReason reason) {
                       press(reason != QSystemTrayIcon::Context, placeAtXTray());
                     });
  }
  trayIcon_->setIcon(icon());
  trayIcon_->setToolTip(QApplication::applicationDisplayName());
  trayIcon_->show();
}

void QtStatusItem::showWindow() {
  if (!std::exchange(hasSaidSo_, true))
    QVLogWarning("QtStatusItem", "This desktop has no tray; the menu is shown as a window");
  window_ = std::make_unique<MenuWindow>(menu_);
  window_->showIcon(icon());
  window_->setAttribute(Qt::WA_ShowWithoutActivating);
  window_->show();
}

// --- What it does there

void QtStatusItem::press(bool withLeft, QPoint at) {
  place_ = at.isNull() ? QCursor::pos() : at;
  if (withLeft)
    view_->mouseDown();
  else
    view_->rightMouseDown();
}

// The menu opens upwards where there is no room below.
QPoint QtStatusItem::placeAtXTray() const {
  const QRect item = trayIcon_->geometry();
  if (item.isEmpty()) return QCursor::pos();
  const QScreen* screen = QGuiApplication::screenAt(item.center());
  const bool isLow = screen != nullptr && item.center().y() > screen->geometry().center().y();
  return isLow ? item.topLeft() : item.bottomLeft();
}

void QtStatusItem::popUpStatusItemMenu() {
  if (popup_) popup_->popup(place_);
}

void QtStatusItem::viewChanged() {
  notifier_.viewChanged();
  if (way_ == TrayWay::XEmbed) trayIcon_->setIcon(icon());
  if (window_) window_->showIcon(icon());
}

// Not from within what made it so, which may be the menu's own item.
void QtStatusItem::menuOutdated() {
  if (std::exchange(isOutdated_, true)) return;
  QTimer::singleShot(0, this, [this] {
    isOutdated_ = false;
    notifier_.menuOutdated();
    if (window_) window_->refresh();
  });
}

// The desktop may have become dark or light.
bool QtStatusItem::eventFilter(QObject* watched, QEvent* event) {
  if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange && view_) viewChanged();
  return QObject::eventFilter(watched, event);
}

QIcon QtStatusItem::icon() const {
  QIcon made;
  for (const double pixels : kPixels) {
    QPixmap picture = pictureOf(*view_, pixels / kPoints);
    picture.setDevicePixelRatio(1);
    made.addPixmap(picture);
  }
  return made;
}

}  // namespace

std::shared_ptr<menu::StatusItem> QtStatusBar::statusItemWithLength(double /*length*/) {
  return std::make_shared<QtStatusItem>(options_);
}

void QtStatusBar::activateIgnoringOtherApps() {
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (!window->isVisible() || window->windowType() == Qt::Popup) continue;
    window->raise();
    window->activateWindow();
  }
}

TrayOptions trayOptionsOfSession() {
  const bool isX11 = QGuiApplication::platformName() == QLatin1String("xcb");
  return {QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("tray")),
          isX11};
}

}  // namespace platform::qt
