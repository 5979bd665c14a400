#include "platform/qt/shell/PopupMenu.h"

#include <QApplication>
#include <QKeyEvent>
#include <QProxyStyle>
#include <QTimer>
#include <QWidgetAction>
#include <algorithm>
#include <utility>

#include "platform/qt/QtText.h"
#include "platform/qt/drawing/QtAppearance.h"
#include "platform/qt/shell/MenuTexts.h"

namespace platform::qt {
namespace {

constexpr std::size_t kFirst = 150;  // more than any screen shows
constexpr std::size_t kMore = 400;
constexpr int kScreensAhead = 3;
constexpr int kLongestLine = 60;  // characters
constexpr int kWidestLine = 420;  // points

// A line that is cut says the whole of itself in its tool tip.
void setLine(QAction& action, const QString& line, const QFontMetrics& metrics) {
  QString shown = line;
  if (line.size() > kLongestLine) shown = metrics.elidedText(line, Qt::ElideMiddle, kWidestLine);
  if (shown != line) action.setToolTip(line.trimmed().toHtmlEscaped());
  action.setText(shown.replace(QLatin1Char('&'), QLatin1String("&&")));
}

// Some styles put what does not fit into columns, and those that do not fit nowhere; some give
// disabled texts a shadow, which nobody can read on dark.
class ScrollingStyle : public QProxyStyle {
 public:
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* more) const override {
    if (hint == SH_Menu_Scrollable) return 1;
    if (hint == SH_EtchDisabledText) return 0;
    return QProxyStyle::styleHint(hint, option, widget, more);
  }
};

// One for all menus; it goes with the application.
QStyle* scrollingStyle() {
  const QString name = QStringLiteral("scrolling menus");
  if (auto* known = qApp->findChild<QStyle*>(name, Qt::FindDirectChildrenOnly)) return known;
  auto made = std::make_unique<ScrollingStyle>();
  made->setObjectName(name);
  made->setParent(qApp);
  return made.release();
}

}  // namespace

PopupMenu::PopupMenu(menu::MenuPtr shown, PopupMenu* parentMenu)
    : menu_(std::move(shown)), parent_(parentMenu) {
  setStyle(scrollingStyle());
  setToolTipsVisible(true);
  setSeparatorsCollapsible(false);
  QObject::connect(this, &QMenu::aboutToShow, this, [this] { opens(); });
  QObject::connect(this, &QMenu::aboutToHide, this, [this] { closed(); });
}

PopupMenu::~PopupMenu() { empty(); }

void PopupMenu::embedIn(QWidget* window) {
  window_ = window;
  setWindowFlags(Qt::Widget);
  setFocusPolicy(Qt::StrongFocus);
}

void PopupMenu::openEmbedded() {
  opens();
  show();
}

void PopupMenu::refresh() {
  rebuild();
  menu_->willOpen();
  updateGeometry();
}

void PopupMenu::opens() {
  rebuild();
  isOpen_ = true;
  menu_->willOpen();
  keepTurning();
}

void PopupMenu::closed() {
  if (!std::exchange(isOpen_, false)) return;
  spinning_.stop();
  menu_->didClose();
  if (parent_ != nullptr) return;
  QTimer::singleShot(0, this, [this] {
    if (!isVisible()) empty();
  });
}

void PopupMenu::rebuild() {
  if (parent_ == nullptr) followAppearance();
  menu_->needsUpdate();
  empty();
  if (menu_->font.points > 0) {
    QFont larger = font();
    larger.setPointSizeF(menu_->font.points);
    setFont(larger);
  }
  items_ = menu_->items();
  makeUpTo(kFirst);
}

void PopupMenu::empty() {
  rows_.clear();
  isGrowing_ = true;
  while (!actions_.empty()) actions_.pop_back();
  isGrowing_ = false;
  submenus_.clear();
  items_.clear();
  icons_.clear();
}

QAction* PopupMenu::actionOf(const menu::MenuItem& item) const {
  for (std::size_t i = 0; i < actions_.size(); ++i)
    if (items_[i].get() == &item) return actions_[i].get();
  return nullptr;
}

menu::MenuItemPtr PopupMenu::itemOf(const QAction* action) const {
  for (std::size_t i = 0; action != nullptr && i < actions_.size(); ++i)
    if (actions_[i].get() == action) return items_[i];
  return nullptr;
}

// A menu that is shown lays itself out anew for every action that comes; it need not before the
// last one did.
void PopupMenu::makeUpTo(std::size_t count) {
  const bool visible = isVisible();
  isGrowing_ = visible;
  setAttribute(Qt::WA_WState_Visible, false);
  while (actions_.size() < std::min(count, items_.size())) {
    actions_.push_back(made(items_[actions_.size()]));
    addAction(actions_.back().get());
  }
  setAttribute(Qt::WA_WState_Visible, visible);
  isGrowing_ = false;
  if (visible) update();
}

void PopupMenu::makeNext() {
  growsSoon_ = false;
  makeUpTo(actions_.size() + kMore);
}

std::unique_ptr<QAction> PopupMenu::made(const menu::MenuItemPtr& item) {
  auto action = item->view ? madeRow(item) : std::make_unique<QAction>();
  dress(*action, item);
  return action;
}

std::unique_ptr<QAction> PopupMenu::madeRow(const menu::MenuItemPtr& item) {
  auto action = std::make_unique<QWidgetAction>(nullptr);
  auto row = std::make_unique<MenuRow>(
      item, [this, shown = action.get()] { return activeAction() == shown || chosen_ == shown; });
  row->changed = [this] { keepTurning(); };
  rows_.push_back(row.get());
  action->setDefaultWidget(row.release());
  return action;
}

void PopupMenu::dress(QAction& action, const menu::MenuItemPtr& item) {
  action.setSeparator(item->isSeparator);
  if (item->isSeparator) return;
  setLine(action, lineOf(*item), fontMetrics());
  action.setEnabled(item->isEnabled);
  if (!item->view) action.setIcon(icons_.iconOf(item->image));
  action.setIconVisibleInMenu(true);
  if (item->toolTip) action.setToolTip(qtText(*item->toolTip).toHtmlEscaped());
  QObject::connect(&action, &QAction::triggered, this, [item] { clickLater(item); });
  if (!item->submenu) return;
  submenus_.push_back(std::make_unique<PopupMenu>(item->submenu, this));
  action.setMenu(submenus_.back().get());
}

void PopupMenu::setVisible(bool visible) {
  if (visible || window_ == nullptr || !window_->isVisible()) QMenu::setVisible(visible);
}

QSize PopupMenu::sizeHint() const { return isGrowing_ ? size() : QMenu::sizeHint(); }

void PopupMenu::paintEvent(QPaintEvent* event) {
  QMenu::paintEvent(event);
  makeAhead();
}

// So early that the end of what is made is never scrolled to.
void PopupMenu::makeAhead() {
  if (growsSoon_ || actions_.empty() || actions_.size() == items_.size()) return;
  if (actionGeometry(actions_.back().get()).top() > height() * kScreensAhead) return;
  growsSoon_ = true;
  QTimer::singleShot(0, this, [this] { makeNext(); });
}

// Keys may lead anywhere: to the end, up over the beginning, to a letter.
void PopupMenu::makeForKey(const QKeyEvent& event) {
  if (actions_.size() == items_.size()) return;
  const bool isLetter = !event.text().trimmed().isEmpty() && event.text().at(0).isPrint();
  if (event.key() == Qt::Key_End || event.key() == Qt::Key_Up || isLetter)
    return makeUpTo(items_.size());
  for (std::size_t i = actions_.size() - std::min(kFirst / 2, actions_.size()); i < actions_.size();
       ++i)
    if (actions_[i].get() == activeAction()) return makeUpTo(actions_.size() + kMore);
}

void PopupMenu::keyPressEvent(QKeyEvent* event) {
  makeForKey(*event);
  if (event->key() == Qt::Key_Home || event->key() == Qt::Key_End)
    return goToEnd(event->key() == Qt::Key_Home);
  const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
  if (!isReturn || !runChosen()) QMenu::keyPressEvent(event);
}

void PopupMenu::goToEnd(bool toFirst) {
  const auto canBeChosen = [](const auto& action) {
    return action->isEnabled() && !action->isSeparator();
  };
  const auto go = [&](auto begin, auto end) {
    const auto found = std::find_if(begin, end, canBeChosen);
    if (found != end) setActiveAction(found->get());
  };
  if (toFirst) return go(actions_.begin(), actions_.end());
  go(actions_.rbegin(), actions_.rend());
}

void PopupMenu::mousePressEvent(QMouseEvent* event) {
  wasPressed_ = true;
  QMenu::mousePressEvent(event);
}

void PopupMenu::mouseMoveEvent(QMouseEvent* event) {
  wasPressed_ = wasPressed_ || event->buttons() != Qt::NoButton;
  QMenu::mouseMoveEvent(event);
}

void PopupMenu::mouseReleaseEvent(QMouseEvent* event) {
  const bool isClick = std::exchange(wasPressed_, false) && event->button() == Qt::LeftButton;
  const QAction* under = actionAt(event->position().toPoint());
  if (!isClick || under == nullptr || under != activeAction() || !runChosen())
    QMenu::mouseReleaseEvent(event);
}

bool PopupMenu::runChosen() {
  const auto item = itemOf(activeAction());
  if (!item || !item->submenu || !clickRuns(*item)) return false;
  for (PopupMenu* each = this; each != nullptr; each = each->parent_) each->close();
  clickLater(item);
  return true;
}

void PopupMenu::keepTurning() {
  if (isOpen_ && !rows_.empty() && !spinning_.isActive())
    spinning_.start(1000 / menu::ProgressIndicator::kSteps, this);
}

void PopupMenu::timerEvent(QTimerEvent* event) {
  if (event->timerId() != spinning_.timerId()) return QMenu::timerEvent(event);
  bool turns = false;
  for (MenuRow* row : rows_) turns = row->advance() || turns;
  if (!turns) spinning_.stop();
}

}  // namespace platform::qt
