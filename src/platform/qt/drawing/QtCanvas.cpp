#include "platform/qt/drawing/QtCanvas.h"

#include <QApplication>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

#include "platform/qt/QtText.h"
#include "platform/qt/drawing/QtImage.h"

namespace platform::qt {
namespace {

QPainter::CompositionMode modeOf(Compositing compositing) {
  return compositing == Compositing::DestinationAtop ? QPainter::CompositionMode_DestinationAtop
                                                     : QPainter::CompositionMode_SourceOver;
}

QFont inPixels(QFont font, double pixels) {
  font.setPixelSize(std::max(1, static_cast<int>(std::lround(pixels))));
  return font;
}

// Fonts leave room above and below what most writing needs, so that a line may be a little lower.
QFont fontFor(Font wanted, double lineHeight) {
  constexpr double kRoom = 1.1;
  const QFont menus = QApplication::font("QMenu");
  const double pixels = wanted.points > 0 ? wanted.points : QFontInfo(menus).pixelSize();
  QFont font = inPixels(menus, pixels);
  const double height = QFontMetricsF(font).height();
  return height > lineHeight * kRoom ? inPixels(font, pixels * lineHeight * kRoom / height) : font;
}

}  // namespace

QtCanvas::QtCanvas(QPainter& painter, Size size)
    : QtCanvas(painter, size, QApplication::palette("QMenu")) {}

QtCanvas::QtCanvas(QPainter& painter, Size size, QPalette palette)
    : painter_(painter), size_(size), palette_(std::move(palette)) {
  painter_.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing |
                          QPainter::SmoothPixmapTransform);
}

QColor QtCanvas::resolved(Colour colour) const {
  switch (colour.source) {
    case Colour::Source::Text:
      return palette_.color(QPalette::WindowText);
    case Colour::Source::SecondaryText:
      return palette_.color(QPalette::PlaceholderText);
    case Colour::Source::SelectedMenuItem:
      return palette_.color(QPalette::Highlight);
    case Colour::Source::SelectedMenuItemText:
      return palette_.color(QPalette::HighlightedText);
    case Colour::Source::Fixed:
      break;
  }
  return QColor::fromRgbF(static_cast<float>(colour.red), static_cast<float>(colour.green),
                          static_cast<float>(colour.blue), static_cast<float>(colour.alpha));
}

QPainterPath QtCanvas::flipped(const Path& path) const {
  QPainterPath result;
  for (const auto& element : path.elements()) {
    switch (element.kind) {
      case Path::Element::Kind::Move:
        result.moveTo(flipped(element.to));
        break;
      case Path::Element::Kind::Line:
        result.lineTo(flipped(element.to));
        break;
      case Path::Element::Kind::Curve:
        result.cubicTo(flipped(element.control1), flipped(element.control2), flipped(element.to));
        break;
      case Path::Element::Kind::Close:
        result.closeSubpath();
        break;
    }
  }
  result.setFillRule(Qt::WindingFill);
  return result;
}

void QtCanvas::fill(Rect rect, Colour colour) {
  painter_.fillRect(flipped(rect), resolved(colour));
}

void QtCanvas::fill(const Path& path, Colour colour) {
  painter_.fillPath(flipped(path), resolved(colour));
}

void QtCanvas::stroke(const Path& path, Colour colour) {
  const QPen pen(resolved(colour), path.lineWidth, Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin);
  painter_.strokePath(flipped(path), pen);
}

double QtCanvas::pixelsPerPoint() const {
  const QTransform transform = painter_.deviceTransform();
  return std::hypot(transform.m11(), transform.m12());
}

// Rendered in as many pixels as it will cover, so that nothing is scaled here.
void QtCanvas::draw(const ImagePtr& image, Rect to, Rect from, Compositing compositing,
                    double opacity) {
  const auto* const known = dynamic_cast<const QtImage*>(image.get());
  if (!known || from.width <= 0 || from.height <= 0) return;
  const double scale = pixelsPerPoint() * std::max(to.width / from.width, to.height / from.height);
  if (scale <= 0) return;
  const QImage pixels = known->at(scale);
  if (pixels.isNull()) return;
  const double fromTop = known->size().height - from.top();
  const QRectF source(from.x * scale, fromTop * scale, from.width * scale, from.height * scale);
  painter_.save();
  painter_.setCompositionMode(modeOf(compositing));
  painter_.setOpacity(opacity);
  painter_.drawImage(flipped(to), pixels, source);
  painter_.restore();
}

void QtCanvas::draw(const std::string& text, Rect inside, const TextStyle& style) {
  const QFont font = fontFor(style.font, inside.height);
  QString line = qtText(text);
  line.replace(QChar::LineFeed, QChar::Space);
  if (style.truncatesMiddle)
    line = QFontMetricsF(font, painter_.device()).elidedText(line, Qt::ElideMiddle, inside.width);
  painter_.setFont(font);
  painter_.setPen(resolved(style.colour));
  painter_.drawText(
      flipped(inside),
      Qt::AlignLeft | Qt::AlignAbsolute | Qt::AlignVCenter | Qt::TextSingleLine | Qt::TextDontClip,
      line);
}

void QtCanvas::drawAt(Point at, Size clip, const std::function<void(Canvas&)>& drawing) {
  painter_.save();
  painter_.translate(at.x, size_.height - at.y - clip.height);
  painter_.setClipRect(QRectF(0, 0, clip.width, clip.height), Qt::IntersectClip);
  QtCanvas inner(painter_, clip, palette_);
  drawing(inner);
  painter_.restore();
}

}  // namespace platform::qt
