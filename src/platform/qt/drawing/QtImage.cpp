#include "platform/qt/drawing/QtImage.h"

#include <QFile>
#include <QImageReader>
#include <QPainter>
#include <algorithm>
#include <cmath>

#include "platform/qt/QtText.h"
#include "platform/qt/drawing/QtCanvas.h"

namespace platform::qt {
namespace {

// Screens of different scales, and the sizes that one picture is shown in.
constexpr std::size_t kMostRenderingsKept = 4;

QImage readScaled(const std::string& path, QSize pixels) {
  QImage image = QImage(qtText(path)).convertToFormat(QImage::Format_ARGB32_Premultiplied);
  if (image.isNull() || image.size() == pixels) return image;
  return image.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

}  // namespace

QImage emptyImage(QSize pixels) {
  QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  return image;
}

void drawWhole(Canvas& canvas, const ImagePtr& image, Rect to) {
  const Size size = image->size();
  canvas.draw(image, to, {0, 0, size.width, size.height}, Compositing::SourceOver, 1);
}

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

ImagePtr FileImage::load(const std::string& folder, std::string_view name) {
  std::vector<Variant> variants;
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

QImage FileImage::rendered(QSize pixels, double scale) const {
  const auto sharp = std::find_if(variants_.begin(), variants_.end(),
                                  [scale](const Variant& each) { return each.scale >= scale; });
  return readScaled((sharp == variants_.end() ? variants_.back() : *sharp).path, pixels);
}

QImage DrawnImage::rendered(QSize pixels, double scale) const {
  QImage image = emptyImage(pixels);
  QPainter painter(&image);
  painter.scale(scale, scale);
  QtCanvas canvas(painter, size());
  drawing_(canvas);
  return image;
}

ImagePtr ResizedImage::of(const ImagePtr& image, Size size) {
  auto known = std::dynamic_pointer_cast<const QtImage>(image);
  if (!known || size.width * known->size().height != size.height * known->size().width)
    return nullptr;
  return std::make_shared<ResizedImage>(size, std::move(known));
}

QImage ResizedImage::at(double scale) const {
  return image_->at(scale * size().width / image_->size().width);
}

}  // namespace platform::qt
