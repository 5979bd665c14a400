#include "platform/qt/settings/SettingsWindow.h"

#include <QCloseEvent>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QShortcut>
#include <QTabWidget>
#include <QVBoxLayout>
#include <QVariantMap>

#include "core/Identifiers.h"
#include "core/QVLocalized.h"
#include "platform/Services.h"
#include "platform/qt/settings/Confirmation.h"
#include "platform/qt/settings/Fields.h"
#include "settings/Problem.h"

namespace platform::qt {
namespace {

constexpr char kPathOnBus[] = "/com/tarnvale/Tarnvale";
constexpr char kInterface[] = "org.freedesktop.Application";
constexpr char kActivate[] = "Activate";
constexpr int kPatienceWithFirst = 3000;  // milliseconds

}  // namespace

// Hears of disks whose state changed.
class SettingsWindow::Refresh : public QVRamDiskEntriesDelegate {
 public:
  explicit Refresh(SettingsWindow& window) : window_(window) {}
  void ramDiskEntries(QVRamDiskEntries&, const QVRamDiskPtr&) override {}
  void ramDiskEntriesUpdator(QVRamDiskEntries&, const QVRamDiskPtr&) override { window_.refresh(); }

 private:
  SettingsWindow& window_;
};

SettingsWindow::SettingsWindow() : refresh_(std::make_shared<Refresh>(*this)), registry_(refresh_) {
  layOut();
  reloadsSoon_.setSingleShot(true);
  QObject::connect(&reloadsSoon_, &QTimer::timeout, this, [this] { reload(); });
  // Several notifications at once, the program's own among them, lead to one reading, when whatever
  // runs now has ended.
  observer_ = services().notifications->observe(QVRamDiskEntriesDidChangeToAllNotification,
                                                [this](const auto&) { reloadsSoon_.start(0); });
  reload();
}

SettingsWindow::~SettingsWindow() {
  services().notifications->remove(observer_);
  registry_.entries().setUpdator(0);
}

void SettingsWindow::layOut() {
  constexpr int kWidth = 780;
  constexpr int kHeight = 600;
  setWindowTitle(QStringLiteral("Tarnvale"));
  setObjectName("settings");
  resize(kWidth, kHeight);
  banner_ = new QLabel(this);
  banner_->setObjectName("banner");
  banner_->setWordWrap(true);
  makePanel(*banner_, problemColor(palette()));
  const auto told = [this](const auto& outcome) { tell(outcome); };
  tabs_ = new QTabWidget(this);
  disks_ = new DisksPage(registry_, told, tabs_);
  general_ = new GeneralPage(registry_, told, tabs_);
  tabs_->setObjectName("tabs");
  tabs_->setDocumentMode(true);
  tabs_->addTab(disks_, qtText(QVLocalized("RAM Disks")));
  tabs_->addTab(general_, qtText(QVLocalized("General")));
  auto* rows = new QVBoxLayout(this);
  rows->setContentsMargins(0, 0, 0, 0);
  rows->setSpacing(0);
  auto* top = new QVBoxLayout;
  top->addWidget(banner_);
  rows->addLayout(top);
  rows->addWidget(tabs_, 1);
  banner_->hide();
  QObject::connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this,
                   [this] { close(); });
}

void SettingsWindow::reload() {
  const auto loaded = registry_.load();
  disks_->refreshKinds();
  refresh();
  tabs_->setEnabled(static_cast<bool>(loaded));
  if (!loaded || registry_.isPartlyDamaged() || unreadable_) tell(loaded);
  unreadable_ = !loaded;
}

void SettingsWindow::refresh() {
  disks_->refresh();
  general_->refresh();
}

void SettingsWindow::tell(const settings::Outcome& outcome) {
  QString text = outcome ? QString() : qtText(settings::textOf(outcome.error()));
  if (outcome && registry_.isPartlyDamaged())
    text =
        qtText(QVLocalized("Part of the list of RamDisks can not be read. It is kept as a copy "
                           "before it is changed."));
  banner_->setText(text);
  banner_->setVisible(!text.isEmpty());
  general_->refresh();
}

void SettingsWindow::bringForward() {
  showNormal();
  raise();
  activateWindow();
}

// Where there is no bus nobody tells of what others changed.
bool SettingsWindow::event(QEvent* event) {
  if (event->type() == QEvent::WindowActivate) reloadsSoon_.start(0);
  return QWidget::event(event);
}

void SettingsWindow::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  registry_.entries().setUpdator(1);
}

void SettingsWindow::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  registry_.entries().setUpdator(0);
}

void SettingsWindow::closeEvent(QCloseEvent* event) {
  const auto names = disks_->changedNames();
  if (names.isEmpty() || discards_) return event->accept();
  event->ignore();
  askAboutEdits(
      *this, names,
      [this] {
        if (disks_->applyAll()) close();
      },
      [this] {
        discards_ = true;
        close();
      });
}

// --- That there is one of it

bool SingleWindow::claim() {
  auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return true;
  bus.registerVirtualObject(kPathOnBus, this);
  if (bus.registerService(kMainAppBundleId)) return true;
  auto call = QDBusMessage::createMethodCall(kMainAppBundleId, kPathOnBus, kInterface, kActivate);
  call << QVariantMap();
  bus.call(call, QDBus::Block, kPatienceWithFirst);
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
