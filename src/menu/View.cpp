#include "menu/View.h"

#include <array>
#include <cmath>
#include <numbers>

namespace menu {

using platform::Canvas;
using platform::Colour;
using platform::Path;
using platform::Point;
using platform::Rect;

namespace {

Path triangle(const std::array<Point, 3>& corners) {
  Path path;
  path.moveTo(corners[0]);
  path.lineTo(corners[1]);
  path.lineTo(corners[2]);
  path.close();
  return path;
}

}  // namespace

void View::setFrameSize(platform::Size size) {
  const double wider = size.width - frame_.width;
  frame_.width = size.width;
  frame_.height = size.height;
  for (const auto& view : subviews_)
    if (view->resizesWithWidth)
      view->setFrameSize({view->frame_.width + wider, view->frame_.height});
}

void View::display(Canvas& canvas) {
  drawRect(canvas);
  for (const auto& view : subviews_)
    canvas.drawAt({view->frame_.x, view->frame_.y}, view->frame_.size(),
                  [&view](Canvas& inner) { view->display(inner); });
}

// Twelve spokes; the one at the present step is the darkest, those behind it fade.
void ProgressIndicator::drawRect(Canvas& canvas) {
  const Point centre{bounds().width / 2, bounds().height / 2};
  const double outer = std::min(centre.x, centre.y) - 0.5;
  for (int spoke = 0; spoke < kSteps; ++spoke) {
    const double angle = std::numbers::pi / 2 - 2 * std::numbers::pi * spoke / kSteps;
    const int behind = (step_ - spoke + kSteps) % kSteps;
    Path line;
    line.lineWidth = 1.5;
    line.moveTo(
        {centre.x + outer * 0.5 * std::cos(angle), centre.y + outer * 0.5 * std::sin(angle)});
    line.lineTo({centre.x + outer * std::cos(angle), centre.y + outer * std::sin(angle)});
    canvas.stroke(line, Colour::white(0.5, 1 - 0.07 * behind));
  }
}

// The upper apex is half the height, not half the width, to the right: the two differ only where
// the rectangle is no square.
Path qv_bezierPathTriangleInRect(Rect rect, char sens) {
  switch (sens) {
    case 'r':
    case 'R':
      return triangle(
          {{{rect.x, rect.top()}, {rect.right(), rect.y + rect.height * 0.5}, {rect.x, rect.y}}});
    case 'b':
    case 'B':
      return triangle({{{rect.x, rect.top()},
                        {rect.right(), rect.top()},
                        {rect.x + rect.width * 0.5, rect.y}}});
    case 't':
    case 'T':
      return triangle(
          {{{rect.x, rect.y}, {rect.x + rect.height * 0.5, rect.top()}, {rect.right(), rect.y}}});
    default:
      return {};
  }
}

Path bezierPathWithRoundedRect(Rect rect, double borderLineWidth, std::uint64_t /*corners*/,
                               double cornerRadius, std::int64_t /*arrowPosition*/,
                               platform::Size arrowSize) {
  const double arrowX = std::floor(rect.width * 0.5) + rect.x;
  const double middleY = std::floor((rect.height - arrowSize.height) * 0.5) + rect.y;
  const double bodyTop = rect.top() - arrowSize.height;
  const Point arrowLeft{arrowX - arrowSize.width * 0.5, bodyTop};
  const Point arrowRight{arrowX + arrowSize.width * 0.5, bodyTop};

  Path path;
  if (borderLineWidth > 0) path.lineWidth = borderLineWidth;
  path.moveTo({rect.x, middleY});
  path.appendArcFromPoint({rect.x, bodyTop}, arrowLeft, cornerRadius);
  path.lineTo(arrowLeft);
  path.lineTo({arrowX, rect.top()});
  path.lineTo(arrowRight);
  path.appendArcFromPoint({rect.right(), bodyTop}, {rect.right(), middleY}, cornerRadius);
  path.lineTo({rect.right(), middleY});
  path.appendArcFromPoint({rect.right(), rect.y}, {arrowX, rect.y}, cornerRadius);
  path.appendArcFromPoint({rect.x, rect.y}, {rect.x, middleY}, cornerRadius);
  path.close();
  return path;
}

}  // namespace menu
