#include "menu/View.h"

#include <cmath>
#include <numbers>

namespace menu {

using platform::Canvas;
using platform::Colour;
using platform::Path;
using platform::Point;

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

}  // namespace menu
