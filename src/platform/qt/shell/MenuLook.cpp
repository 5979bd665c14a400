#include "platform/qt/shell/MenuLook.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QTimer>
#include <cmath>

#include "platform/qt/QtText.h"
#include "platform/qt/drawing/QtCanvas.h"

namespace platform::qt {
namespace {

constexpr int kSpacesPerLevel = 3;
constexpr double kExportedScale = 1.0;  // desktops show pictures as they come

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

QPixmap pictureOfImage(const ImagePtr& image, double scale) {
  ImageView view(image);
  return pictureOf(view, scale);
}

QByteArray asPng(const QPixmap& picture) {
  QByteArray contents;
  QBuffer buffer(&contents);
  buffer.open(QIODevice::WriteOnly);
  picture.save(&buffer, "PNG");
  return contents;
}

}  // namespace

QString lineOf(const menu::MenuItem& item) {
  const std::string said = item.view ? item.view->accessibleName() : std::string();
  QString line = qtText(said.empty() ? item.title : said);
  for (auto& character : line)
    if (character < QLatin1Char(' ')) character = QLatin1Char(' ');
  return QString(static_cast<qsizetype>(kSpacesPerLevel) * item.indentationLevel,
                 QLatin1Char(' ')) +
         line;
}

void clickLater(const menu::MenuItemPtr& item) {
  QTimer::singleShot(0, qApp, [item] { item->click(); });
}

void paintView(QPainter& painter, menu::View& view) {
  painter.setRenderHint(QPainter::Antialiasing);
  QtCanvas canvas(painter, view.frame().size());
  view.display(canvas);
}

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

QByteArray pngOfRow(menu::View& row) {
  const QPixmap whole = pictureOf(row, kExportedScale);
  QPixmap picture = whole.copy(kIconOfRow.toAlignedRect());
  QPainter painter(&picture);
  painter.drawPixmap(QPointF(0, kIconOfRow.height() - kMarkOfRow.height()),
                     whole.copy(kMarkOfRow.toAlignedRect()));
  painter.end();
  return asPng(picture);
}

QByteArray pngOf(const ImagePtr& image) { return asPng(pictureOfImage(image, kExportedScale)); }

QIcon Icons::iconOf(const ImagePtr& image) {
  if (!image) return {};
  const auto [entry, isNew] = made_.try_emplace(image);
  if (isNew) entry->second.addPixmap(pictureOfImage(image, qGuiApp->devicePixelRatio()));
  return entry->second;
}

}  // namespace platform::qt
