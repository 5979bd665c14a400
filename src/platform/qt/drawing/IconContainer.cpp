#include "platform/qt/drawing/IconContainer.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QtEndian>
#include <algorithm>

#include "platform/qt/QtText.h"

namespace platform::qt {
namespace {

constexpr Size kSize{128, 128};
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

}  // namespace

ImagePtr ContainerImage::load(const std::string& path) {
  QFile file(qtText(path));
  if (!file.open(QIODevice::ReadOnly) || file.size() > kMostBytes) return nullptr;
  std::vector<QByteArray> kept;
  for (const Picture& picture : picturesIn(file.read(kMostBytes)))
    if (picture.width <= kMostKept || kept.empty()) kept.push_back(picture.data);
  return kept.empty() ? nullptr : std::make_shared<ContainerImage>(kSize, std::move(kept));
}

QImage ContainerImage::rendered(QSize pixels, double /*scale*/) const {
  QImage image;
  for (const QByteArray& picture : pictures_) {
    image = QImage::fromData(picture, "png");
    if (image.width() >= pixels.width()) break;
  }
  return image.convertToFormat(QImage::Format_ARGB32_Premultiplied)
      .scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

}  // namespace platform::qt
