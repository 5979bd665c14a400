#include "platform/qt/drawing/ThemeImage.h"

#include <QIcon>
#include <QMimeDatabase>
#include <QPainter>

namespace platform::qt {
namespace {

QStringList iconNamesOfType(const QString& type) {
  const QMimeDatabase types;
  const QMimeType found =
      type.contains('/') ? types.mimeTypeForName(type)
                         : types.mimeTypeForFile("name." + type, QMimeDatabase::MatchExtension);
  if (!found.isValid()) return {};
  return {found.iconName(), found.genericIconName()};
}

// Themes may have it smaller than is wanted, and not square.
QImage fitted(const QImage& image, QSize pixels) {
  if (image.size() == pixels) return image;
  const QImage scaled = image.scaled(pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
  QImage square = emptyImage(pixels);
  QPainter painter(&square);
  painter.drawImage((pixels.width() - scaled.width()) / 2, (pixels.height() - scaled.height()) / 2,
                    scaled);
  return square;
}

QImage ofTheme(const QString& name, QSize pixels) {
  const QIcon icon = name.startsWith('/') ? QIcon(name) : QIcon::fromTheme(name);
  const QPixmap pixmap = icon.pixmap(pixels, 1.0);
  if (pixmap.isNull()) return {};
  return fitted(pixmap.toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied), pixels);
}

QImage firstOf(const QStringList& names, QSize pixels) {
  for (const QString& name : names)
    if (QImage image = ofTheme(name, pixels); !image.isNull()) return image;
  return {};
}

}  // namespace

QImage ThemeImage::rendered(QSize pixels, double /*scale*/) const {
  if (QImage image = firstOf(choice_.names, pixels); !image.isNull()) return image;
  if (!choice_.type.isEmpty())
    if (QImage image = firstOf(iconNamesOfType(choice_.type), pixels); !image.isNull())
      return image;
  const auto* const otherwise = dynamic_cast<const QtImage*>(choice_.otherwise.get());
  if (!otherwise) return {};
  return fitted(otherwise->at(pixels.width() / otherwise->size().width), pixels);
}

void drawSheet(Canvas& canvas) {
  Path sheet;
  sheet.moveTo({6, 2});
  for (const Point corner : {Point{6, 30}, Point{19, 30}, Point{26, 23}, Point{26, 2}})
    sheet.lineTo(corner);
  sheet.close();
  Path fold;
  fold.moveTo({19, 30});
  fold.lineTo({19, 23});
  fold.lineTo({26, 23});
  canvas.fill(sheet, Colour::white(0.97));
  canvas.stroke(sheet, Colour::white(0.45));
  canvas.stroke(fold, Colour::white(0.45));
}

}  // namespace platform::qt
