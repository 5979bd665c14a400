#include "platform/qt/shell/Pictures.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QPainter>
#include <cmath>

#include "platform/qt/shell/PaintView.h"

namespace platform::qt {
namespace {

// Where a row of 40 points has them, from its top left corner.
constexpr QRectF kIconOfRow(24, 4, 32, 32);
constexpr QRectF kMarkOfRow(5, 11, 18, 18);

class ImageView : public menu::View {
 public:
  explicit ImageView(ImagePtr image)
      : View({0, 0, image->size().width, image->size().height}), image_(std::move(image)) {}

 protected:
  void drawRect(Canvas& canvas) override {
    canvas.draw(image_, Point{}, Compositing::SourceOver, 1);
  }

 private:
  ImagePtr image_;
};

}  // namespace

QPixmap pictureOf(menu::View& view, double scale) {
  const auto pixels = [scale](double points) {
    return static_cast<int>(std::ceil(points * scale));
  };
  QPixmap picture(pixels(view.frame().width), pixels(view.frame().height));
  picture.setDevicePixelRatio(scale);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  paintView(painter, view);
  return picture;
}

QPixmap smallPictureOf(menu::View& row, double scale) {
  const QPixmap whole = pictureOf(row, scale);
  const auto part = [&](const QRectF& points) {
    return whole.copy(QRectF(points.topLeft() * scale, points.size() * scale).toAlignedRect());
  };
  QPixmap picture = part(kIconOfRow);
  QPainter painter(&picture);
  painter.drawPixmap(QPointF(0, kIconOfRow.height() - kMarkOfRow.height()), part(kMarkOfRow));
  painter.end();
  return picture;
}

QPixmap pictureOf(const ImagePtr& image, double scale) {
  ImageView view(image);
  return pictureOf(view, scale);
}

QIcon Icons::iconOf(const ImagePtr& image) {
  if (!image) return {};
  const auto [entry, isNew] = made_.try_emplace(image);
  if (isNew) entry->second.addPixmap(pictureOf(image, qGuiApp->devicePixelRatio()));
  return entry->second;
}

QByteArray pngOf(const QPixmap& picture) {
  QByteArray contents;
  QBuffer buffer(&contents);
  buffer.open(QIODevice::WriteOnly);
  picture.save(&buffer, "PNG");
  return contents;
}

}  // namespace platform::qt
