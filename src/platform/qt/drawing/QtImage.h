#pragma once

#include <QImage>
#include <string>
#include <utility>
#include <vector>

#include "platform/Graphics.h"

namespace platform::qt {

// A picture that is rendered when it is drawn, once for each scale. Made and let go on any thread;
// rendered on the main one.
class QtImage : public Image {
 public:
  explicit QtImage(Size size) : size_(size) {}

  Size size() const override { return size_; }

  // With `scale` pixels to the point, rounded up to whole pixels.
  virtual QImage at(double scale) const;

 protected:
  QSize pixelsAt(double scale) const;

  // `pixels` is what pixelsAt() says. Null when there is nothing to show.
  virtual QImage rendered(QSize pixels, double scale) const = 0;

 private:
  const Size size_;
  mutable std::vector<std::pair<double, QImage>> kept_;  // by scale, the latest last
};

// An empty picture to draw on.
QImage emptyImage(QSize pixels);

// The whole image, scaled to the rectangle.
void drawWhole(Canvas& canvas, const ImagePtr& image, Rect to);

// A picture from files of several scales. Files are read for as long as it takes to scale them.
class FileImage : public QtImage {
 public:
  struct Variant {
    double scale = 1;
    std::string path;
  };

  // Null unless NAME.png, or one of a higher scale (NAME@2x.png), is in the folder.
  static ImagePtr load(const std::string& folder, std::string_view name);

  FileImage(Size size, std::vector<Variant> variants)
      : QtImage(size), variants_(std::move(variants)) {}

 protected:
  QImage rendered(QSize pixels, double scale) const override;

 private:
  const std::vector<Variant> variants_;  // the smallest scale first
};

class DrawnImage : public QtImage {
 public:
  DrawnImage(Size size, Graphics::Drawing drawing) : QtImage(size), drawing_(std::move(drawing)) {}

 protected:
  QImage rendered(QSize pixels, double scale) const override;

 private:
  const Graphics::Drawing drawing_;
};

// Another picture in a size of the same proportions. It shares that picture's pixels, so that a
// menu of thousands of files holds one for each kind.
class ResizedImage : public QtImage {
 public:
  // Null unless the proportions are the same.
  static ImagePtr of(const ImagePtr& image, Size size);

  ResizedImage(Size size, std::shared_ptr<const QtImage> image)
      : QtImage(size), image_(std::move(image)) {}

  QImage at(double scale) const override;

 protected:
  QImage rendered(QSize /*pixels*/, double scale) const override { return at(scale); }

 private:
  const std::shared_ptr<const QtImage> image_;
};

}  // namespace platform::qt
