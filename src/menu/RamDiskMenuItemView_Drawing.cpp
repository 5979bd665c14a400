#include <cmath>

#include "menu/BezierPath.h"
#include "menu/Menu.h"
#include "menu/RamDiskMenuItemView.h"
#include "system/QVMacInfo.h"

namespace menu {

using platform::Canvas;
using platform::Colour;
using platform::Compositing;
using platform::Path;
using platform::Point;
using platform::Rect;

namespace {

constexpr double kDrawingMargin = 6;  // left of the pie
constexpr double kPieSize = 16;
constexpr double kRingSize = 14;
constexpr double kTriangleSize = 9;
constexpr double kRightMargin = 21;  // from the triangle's left edge

}  // namespace

bool RamDiskMenuItemView::isHighlighted() const {
  const auto item = enclosingMenuItem.lock();
  return item && item->isHighlighted;
}

void RamDiskMenuItemView::drawRect(Canvas& canvas) {
  const bool highlighted = isHighlighted();
  const double height = bounds().height;
  if (highlighted)
    canvas.fill(bounds(), isDarkMode_ && isGraphiteTheme_
                              ? Colour::white(0.5, 0.5)
                              : Colour::of(Colour::Source::SelectedMenuItem));
  canvas.draw(icon_, iconRect_, {0, 0, iconRect_.width, iconRect_.height}, Compositing::SourceOver,
              1);
  styleTitle(highlighted);
  if (status_ == QVRamDiskStatus_mounted && action_ == QVRamDiskActionNone)
    drawDiskUsage(canvas, diskUsage_, {kDrawingMargin, std::floor((height - kPieSize) * 0.5)},
                  highlighted);
  const Rect triangle{bounds().width - kRightMargin, std::floor((height - kTriangleSize) * 0.5),
                      kTriangleSize, kTriangleSize};
  canvas.fill(qv_bezierPathTriangleInRect(triangle, 'r'),
              Colour::white(isDarkMode_ || highlighted ? 1 : 0));
}

// Before the label draws itself.
void RamDiskMenuItemView::styleTitle(bool highlighted) {
  const auto item = enclosingMenuItem.lock();
  const auto enclosing = item ? item->menu.lock() : nullptr;
  if (enclosing) titleLabel_->style.font = enclosing->font;
  titleLabel_->style.colour = highlighted ? Colour::of(Colour::Source::SelectedMenuItemText)
                              : QVMacInfo::isYosemiteOrBetter() ? Colour::of(Colour::Source::Text)
                                                                : Colour::white(0);
}

// A ring, filled clockwise from twelve o'clock on.
void RamDiskMenuItemView::drawDiskUsage(Canvas& canvas, double usage, Point atPoint,
                                        bool isHighlighted) {
  const Colour colour =
      isHighlighted ? Colour::white(1) : Colour::rgb(155. / 255, 180. / 255, 212. / 255);
  const Rect circle{atPoint.x + 1, atPoint.y + 1, kRingSize, kRingSize};
  Path oval;
  oval.lineWidth = 2;
  oval.appendOval(circle);
  canvas.stroke(oval, colour);
  if (usage <= 0) return;
  if (usage >= 1) return canvas.fill(oval, colour);

  const double radius = std::floor(circle.width * 0.5);
  const Point centre{std::floor(circle.x + 7), std::floor(circle.y + 7)};
  Path wedge;
  wedge.moveTo(centre);
  wedge.appendArc(centre, radius, 90, 90 - 360 * usage, true);
  wedge.close();
  canvas.fill(wedge, colour);
}

}  // namespace menu
