#include "platform/qt/shell/MenuWindow.h"

#include <QApplication>
#include <QEvent>
#include <QTimer>
#include <QVBoxLayout>

namespace platform::qt {

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
