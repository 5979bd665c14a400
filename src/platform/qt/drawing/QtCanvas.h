#pragma once

#include <QPainter>
#include <QPalette>

#include "platform/Canvas.h"

namespace platform::qt {

// Draws with a painter whose origin is the top left corner of an area of the given size. A point
// is one unit of the painter's: a logical pixel. Main thread.
//
// Fonts are those of the desktop's menus; a text of 12 points is 12 logical pixels high. A font
// that is too high for its line is made smaller.
class QtCanvas : public Canvas {
 public:
  using Canvas::draw;

  // In the colours of the program.
  QtCanvas(QPainter& painter, Size size);
  QtCanvas(QPainter& painter, Size size, QPalette palette);

  void fill(Rect rect, Colour colour) override;
  void fill(const Path& path, Colour colour) override;
  void stroke(const Path& path, Colour colour) override;
  void draw(const ImagePtr& image, Rect to, Rect from, Compositing compositing,
            double opacity) override;
  void draw(const std::string& text, Rect inside, const TextStyle& style) override;
  void drawAt(Point at, Size clip, const std::function<void(Canvas&)>& drawing) override;

 private:
  QPointF flipped(Point point) const { return {point.x, size_.height - point.y}; }
  QRectF flipped(Rect rect) const {
    return {rect.x, size_.height - rect.top(), rect.width, rect.height};
  }
  QPainterPath flipped(const Path& path) const;
  QColor resolved(Colour colour) const;
  double pixelsPerPoint() const;

  QPainter& painter_;
  const Size size_;
  const QPalette palette_;
};

}  // namespace platform::qt
