#include "platform/qt/shell/QtStatusItem.h"

#include <QApplication>
#include <QCursor>
#include <QScreen>
#include <QTimer>
#include <utility>

#include "core/QVLog.h"
#include "platform/qt/shell/Pictures.h"

namespace platform::qt {
namespace {

constexpr double kPoints = 22;  // trays are squares
constexpr double kPixels[] = {16, 22, 24, 32, 44, 48};

}  // namespace

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

// The toolkit settles for good on the bus where it finds a host there at its first look; it is not
// asked to look while one is.
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

}  // namespace platform::qt
