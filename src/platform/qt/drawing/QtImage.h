#pragma once

#include <QImage>
#include <QStringList>
#include <string>
#include <utility>
#include <vector>

#include "platform/Graphics.h"

namespace platform::qt {

// A promise of a picture: rendered when it is drawn, once for each scale (QtImage.cpp has the
// kinds of promises). Made and let go on any thread; rendered on the main one.
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

// From files of several scales. Null unless NAME.png, or one of a higher scale (NAME@2x.png), is in
// the folder.
ImagePtr imageFromFiles(const std::string& folder, std::string_view name);

ImagePtr drawnImage(Size size, Graphics::Drawing drawing);

// The same picture in a size of the same proportions; null for other proportions. It shares that
// picture's pixels, so that a menu of thousands of files holds one for each kind.
ImagePtr sameInSize(const ImagePtr& image, Size size);

// A picture of the desktop's icon theme.
constexpr double kThemeIconSize = 32;  // points; as any other it is rendered sharp
struct ThemeChoice {
  QStringList names{};   // icons of the theme or absolute paths, the best first
  QString type{};        // tried next: a content type or an extension
  ImagePtr otherwise{};  // where the theme has none of these
};
ImagePtr themeImage(ThemeChoice choice);

// The picture in an icon container ("icns"). Null unless the file holds one; it is read now.
ImagePtr imageInContainer(const std::string& path);

}  // namespace platform::qt
