// Promises of pictures.
//
// The engine asks for pictures on any thread, by the thousand, for menus of which a few rows are
// ever seen, and without knowing how large they will be drawn. So a picture is only a size in
// points and a way to get at it: making one costs next to nothing, and so does letting it go.
//
//   the engine, any thread        QtCanvas::draw, the main thread
//   iconForFileType("txt") ---->  at(2.0)  not kept? ->  rendered({64, 64}, 2.0)  ->  kept
//
// It is rendered in as many pixels as it will cover, so that nothing is scaled a second time, and
// kept by scale: a screen has one, and a second screen may have another. Few are kept, because a
// window that is made larger bit by bit would leave one for each step. The toolkit's icons and
// pixmaps are the main thread's; that is why looking into the icon theme waits until then too.
//
// Where the pixels come from is what the classes here differ in. Whether there are any is told by
// making the promise where a file has to be there anyway (null), and else by rendering nothing.
#include "platform/qt/drawing/QtImage.h"

#include <QBuffer>
#include <QFile>
#include <QIcon>
#include <QImageReader>
#include <QMimeDatabase>
#include <QPainter>
#include <QtEndian>
#include <algorithm>
#include <cmath>

#include "platform/qt/QtText.h"
#include "platform/qt/drawing/QtCanvas.h"

namespace platform::qt {
namespace {

// Screens of different scales, and the sizes that one picture is shown in.
constexpr std::size_t kMostRenderingsKept = 4;

QImage emptyImage(QSize pixels) {
  QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  return image;
}

QImage scaledTo(QSize pixels, const QImage& image) {
  const QImage premultiplied = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
  if (image.isNull() || image.size() == pixels) return premultiplied;
  return premultiplied.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

// --- Of files

// A file is read for as long as it takes to scale it.
class FileImage : public QtImage {
 public:
  struct Variant {
    double scale = 1;
    std::string path;
  };

  FileImage(Size size, std::vector<Variant> variants)
      : QtImage(size), variants_(std::move(variants)) {}

 protected:
  QImage rendered(QSize pixels, double scale) const override {
    const auto sharp = std::find_if(variants_.begin(), variants_.end(),
                                    [scale](const Variant& each) { return each.scale >= scale; });
    const auto& file = sharp == variants_.end() ? variants_.back() : *sharp;
    return scaledTo(pixels, QImage(qtText(file.path)));
  }

 private:
  const std::vector<Variant> variants_;  // the smallest scale first
};

// --- Of drawings and other pictures

class DrawnImage : public QtImage {
 public:
  DrawnImage(Size size, Graphics::Drawing drawing) : QtImage(size), drawing_(std::move(drawing)) {}

 protected:
  QImage rendered(QSize pixels, double scale) const override {
    QImage image = emptyImage(pixels);
    QPainter painter(&image);
    painter.scale(scale, scale);
    QtCanvas canvas(painter, size());
    drawing_(canvas);
    return image;
  }

 private:
  const Graphics::Drawing drawing_;
};

class ResizedImage : public QtImage {
 public:
  ResizedImage(Size size, std::shared_ptr<const QtImage> image)
      : QtImage(size), image_(std::move(image)) {}

  QImage at(double scale) const override {
    return image_->at(scale * size().width / image_->size().width);
  }

 protected:
  QImage rendered(QSize /*pixels*/, double scale) const override { return at(scale); }

 private:
  const std::shared_ptr<const QtImage> image_;
};

// --- Of the desktop's icon theme

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

class ThemeImage : public QtImage {
 public:
  explicit ThemeImage(ThemeChoice choice)
      : QtImage({kThemeIconSize, kThemeIconSize}), choice_(std::move(choice)) {}

 protected:
  QImage rendered(QSize pixels, double /*scale*/) const override {
    if (QImage image = firstOf(choice_.names, pixels); !image.isNull()) return image;
    if (!choice_.type.isEmpty())
      if (QImage image = firstOf(iconNamesOfType(choice_.type), pixels); !image.isNull())
        return image;
    const auto* const otherwise = dynamic_cast<const QtImage*>(choice_.otherwise.get());
    if (!otherwise) return {};
    return fitted(otherwise->at(pixels.width() / otherwise->size().width), pixels);
  }

 private:
  const ThemeChoice choice_;
};

// --- Of icon containers: a header "icns" with the length of the whole, then entries of a
// four-letter type, their length with these eight bytes, and data, all numbers big-endian. Entries
// in PNG are understood. The file is somebody's, and may be made to do harm.

constexpr Size kContainerSize{128, 128};
constexpr qint64 kMostBytes = 16 << 20;  // of a file
constexpr int kMostPixels = 1024;        // across
constexpr qsizetype kHeader = 8;
constexpr int kMostKept = 256;  // pixels across; larger pictures are shown from smaller ones

struct Picture {
  int width = 0;
  QByteArray data;
};

quint32 lengthAt(const QByteArray& bytes, qsizetype offset) {
  return qFromBigEndian<quint32>(bytes.constData() + offset + 4);
}

// 0 for what is no picture, or one that no icon is as large as.
int widthOf(QByteArray data) {
  if (!data.startsWith("\x89PNG")) return 0;
  QBuffer buffer(&data);
  const QSize size = QImageReader(&buffer, "png").size();
  return std::max(size.width(), size.height()) <= kMostPixels ? size.width() : 0;
}

std::vector<Picture> picturesIn(const QByteArray& bytes) {
  std::vector<Picture> pictures;
  if (bytes.size() < kHeader || !bytes.startsWith("icns")) return pictures;
  for (qsizetype offset = kHeader; offset + kHeader <= bytes.size();) {
    const qsizetype length = lengthAt(bytes, offset);
    if (length < kHeader || length > bytes.size() - offset) break;
    const QByteArray data = bytes.mid(offset + kHeader, length - kHeader);
    if (const int width = widthOf(data); width > 0) pictures.push_back({width, data});
    offset += length;
  }
  std::sort(pictures.begin(), pictures.end(),
            [](const Picture& one, const Picture& other) { return one.width < other.width; });
  return pictures;
}

class ContainerImage : public QtImage {
 public:
  explicit ContainerImage(std::vector<QByteArray> pictures)
      : QtImage(kContainerSize), pictures_(std::move(pictures)) {}

 protected:
  QImage rendered(QSize pixels, double /*scale*/) const override {
    QImage image;
    for (const QByteArray& picture : pictures_) {
      image = QImage::fromData(picture, "png");
      if (image.width() >= pixels.width()) break;
    }
    return scaledTo(pixels, image);
  }

 private:
  const std::vector<QByteArray> pictures_;  // the smallest first
};

}  // namespace

QSize QtImage::pixelsAt(double scale) const {
  const auto pixels = [scale](double points) {
    return std::max(1, static_cast<int>(std::ceil(points * scale - 1e-6)));
  };
  return {pixels(size_.width), pixels(size_.height)};
}

QImage QtImage::at(double scale) const {
  const auto found = std::find_if(kept_.begin(), kept_.end(),
                                  [scale](const auto& kept) { return kept.first == scale; });
  if (found != kept_.end()) return found->second;
  if (kept_.size() == kMostRenderingsKept) kept_.erase(kept_.begin());
  return kept_.emplace_back(scale, rendered(pixelsAt(scale), scale)).second;
}

ImagePtr imageFromFiles(const std::string& folder, std::string_view name) {
  std::vector<FileImage::Variant> variants;
  for (const auto& [scale, end] : {std::pair(1., ".png"), {2., "@2x.png"}, {3., "@3x.png"}}) {
    std::string path = folder + "/" + std::string(name) + end;
    if (QFile::exists(qtText(path))) variants.push_back({scale, std::move(path)});
  }
  if (variants.empty()) return nullptr;
  const QSize pixels = QImageReader(qtText(variants.front().path)).size();
  if (pixels.isEmpty()) return nullptr;
  const double scale = variants.front().scale;
  return std::make_shared<FileImage>(Size{pixels.width() / scale, pixels.height() / scale},
                                     std::move(variants));
}

ImagePtr drawnImage(Size size, Graphics::Drawing drawing) {
  return std::make_shared<DrawnImage>(size, std::move(drawing));
}

ImagePtr sameInSize(const ImagePtr& image, Size size) {
  auto known = std::dynamic_pointer_cast<const QtImage>(image);
  if (!known || size.width * known->size().height != size.height * known->size().width)
    return nullptr;
  return std::make_shared<ResizedImage>(size, std::move(known));
}

ImagePtr themeImage(ThemeChoice choice) { return std::make_shared<ThemeImage>(std::move(choice)); }

ImagePtr imageInContainer(const std::string& path) {
  QFile file(qtText(path));
  if (!file.open(QIODevice::ReadOnly) || file.size() > kMostBytes) return nullptr;
  std::vector<QByteArray> kept;
  for (const Picture& picture : picturesIn(file.read(kMostBytes)))
    if (picture.width <= kMostKept || kept.empty()) kept.push_back(picture.data);
  return kept.empty() ? nullptr : std::make_shared<ContainerImage>(std::move(kept));
}

}  // namespace platform::qt
