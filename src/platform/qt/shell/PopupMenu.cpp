// A menu of ours shown by the toolkit.
//
// Ours is data that its delegate fills when it opens and that may hold a folder of ten thousand
// files; the toolkit's wants all its actions before it is laid out, and measures each. What makes
// them meet:
//
// - It is filled when it is about to show, and emptied when the last menu of the chain has closed,
//   so that a menu that is not open costs nothing. What shows keeps its item (items_): the records
//   behind it may be replaced meanwhile, and a click acts on what was seen.
// - Of a long menu only the first actions are made. More follow before the end of what is made can
//   be scrolled to (makeAhead(), told by painting) or reached with a key (makeForKey()). While they
//   are added the menu says that it is hidden and of the size it has: an open menu lays itself out
//   anew for every single action that comes.
// - A row that draws itself is a widget in the menu that lets pointer and keys through to it, so
//   that choosing, walking into the submenu and closing are the toolkit's own as for every item.
// - The toolkit never triggers an item that has a submenu. Ours has rows that do both, so a whole
//   click (pressed and let go) and Return on such a row are taken before the toolkit sees them.
// - What was clicked runs after the event that closes the menus, since it may ask something in a
//   modal alert, or have the very menu filled anew.
#include "platform/qt/shell/PopupMenu.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QProxyStyle>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidgetAction>
#include <algorithm>
#include <functional>
#include <utility>

#include "platform/qt/QtText.h"
#include "platform/qt/drawing/QtAppearance.h"
#include "ramdisk/QVRamDisk.h"

namespace platform::qt {
namespace {

constexpr std::size_t kFirst = 150;  // more than any screen shows
constexpr std::size_t kMore = 400;
constexpr int kScreensAhead = 3;
constexpr int kLongestLine = 60;  // characters
constexpr int kWidestLine = 420;  // points

void callWhenChanged(menu::View& view, const std::function<void()>& call) {
  view.needsDisplay = call;
  for (const auto& part : view.subviews()) callWhenChanged(*part, call);
}

bool advanceSpinners(menu::View& view) {
  auto* spinner = dynamic_cast<menu::ProgressIndicator*>(&view);
  bool any = spinner != nullptr && spinner->isAnimating();
  if (any) spinner->advance();
  for (const auto& part : view.subviews()) any = advanceSpinners(*part) || any;
  return any;
}

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

// A click runs the item's action also where it has a submenu. Only what is mounted can be opened,
// so a disk that is not has its submenu opened.
bool clickRuns(const menu::MenuItem& item) {
  if (!item.isEnabled || !item.action) return false;
  const auto disk = item.represented<QVRamDiskPtr>();
  return !item.submenu || !disk || disk->status() == QVRamDiskStatus_mounted;
}

}  // namespace

// A menu item's view as a row of a menu. The menu gets the mouse: the row only draws.
class PopupMenu::Row : public QWidget {
 public:
  // `isHighlighted` is asked whenever it draws.
  Row(menu::MenuItemPtr item, std::function<bool()> isHighlighted)
      : item_(std::move(item)),
        view_(item_->view),
        isHighlighted_(std::move(isHighlighted)),
        size_(static_cast<int>(view_->frame().width), static_cast<int>(view_->frame().height)) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAccessibleName(qtText(view_->accessibleName()));
    callWhenChanged(*view_, [this] {
      update();
      if (changed) changed();
    });
  }
  ~Row() override { callWhenChanged(*view_, nullptr); }

  QSize sizeHint() const override { return size_; }

  // Moves the spinners that turn by one step. NO when none does.
  bool advance() {
    if (!advanceSpinners(*view_)) return false;
    update();
    return true;
  }

  // Called when the view wants to be shown anew: a spinner may have started.
  std::function<void()> changed;

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    item_->isHighlighted = isHighlighted_();
    QPainter painter(this);
    paintView(painter, *view_);
  }
  void resizeEvent(QResizeEvent* /*event*/) override {
    view_->setFrameSize({static_cast<double>(width()), static_cast<double>(height())});
  }

 private:
  const menu::MenuItemPtr item_;
  const menu::ViewPtr view_;
  const std::function<bool()> isHighlighted_;
  const QSize size_;
};

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

// --- Opening and closing

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

// --- Making actions

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
  auto row = std::make_unique<Row>(
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

// --- What the user does

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
  if (isReturn && runChosen()) return;
  QMenu::keyPressEvent(event);
  for (const auto& submenu : submenus_) submenu->chooseHarmless();
}

// The toolkit chooses the first item of a submenu that a key opens, and Return would run it. It
// goes on by the toolkit's own step, which opens no further submenu.
void PopupMenu::chooseHarmless() {
  const auto isDestructive = [this] {
    const auto chosen = itemOf(activeAction());
    return isOpen_ && chosen && chosen->isDestructive;
  };
  if (!isDestructive()) return;
  QKeyEvent down(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
  QMenu::keyPressEvent(&down);
  if (isDestructive()) setActiveAction(nullptr);  // there is nothing else
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
  for (Row* row : rows_) turns = row->advance() || turns;
  if (!turns) spinning_.stop();
}

// --- As a window

MenuWindow::MenuWindow(const menu::MenuPtr& menu) : menu_(std::make_unique<PopupMenu>(menu)) {
  setWindowTitle(QApplication::applicationDisplayName());
  setAttribute(Qt::WA_QuitOnClose, false);
  auto layout = std::make_unique<QVBoxLayout>(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSizeConstraint(QLayout::SetFixedSize);
  menu_->embedIn(this);
  layout.release()->addWidget(menu_.get());
  menu_->hide();  // until it is filled: shown empty it would give the window its size
  QObject::connect(menu_.get(), &QMenu::triggered, this,
                   [this] { QTimer::singleShot(0, this, [this] { refresh(); }); });
}

bool MenuWindow::event(QEvent* event) {
  if (event->type() == QEvent::Show) menu_->openEmbedded();
  if (event->type() == QEvent::Hide) menu_->hide();
  if (event->type() == QEvent::WindowActivate || event->type() == QEvent::Enter) refresh();
  return QWidget::event(event);
}

void MenuWindow::refresh() {
  if (!isVisible() || QApplication::activePopupWidget() != nullptr) return;
  menu_->refresh();
}

}  // namespace platform::qt
