#include "platform/qt/shell/MenuRow.h"

#include <QPainter>
#include <utility>

#include "platform/qt/QtText.h"
#include "platform/qt/shell/PaintView.h"

namespace platform::qt {
namespace {

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

}  // namespace

MenuRow::MenuRow(menu::MenuItemPtr item, std::function<bool()> isHighlighted)
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

MenuRow::~MenuRow() { callWhenChanged(*view_, nullptr); }

bool MenuRow::advance() {
  if (!advanceSpinners(*view_)) return false;
  update();
  return true;
}

void MenuRow::paintEvent(QPaintEvent* /*event*/) {
  item_->isHighlighted = isHighlighted_();
  QPainter painter(this);
  paintView(painter, *view_);
}

void MenuRow::resizeEvent(QResizeEvent* /*event*/) {
  view_->setFrameSize({static_cast<double>(width()), static_cast<double>(height())});
}

}  // namespace platform::qt
