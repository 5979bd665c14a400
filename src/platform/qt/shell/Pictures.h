#pragma once

#include <QIcon>
#include <QPixmap>
#include <map>

#include "menu/View.h"

namespace platform::qt {

// The view at a scale: pixels for a point.
QPixmap pictureOf(menu::View& view, double scale);

// A disk's row as one small square: its icon, with the pie or spinner that stands before it in the
// row over the lower left corner.
QPixmap smallPictureOf(menu::View& row, double scale);

// The icon of an image in points, at the scales that there are. Images are shared by many rows of a
// menu; each is drawn once for as long as one of these lives.
class Icons {
 public:
  QIcon iconOf(const ImagePtr& image);
  void clear() { made_.clear(); }

 private:
  std::map<ImagePtr, QIcon> made_;
};

// The same as a file's contents.
QByteArray pngOf(const QPixmap& picture);
QPixmap pictureOf(const ImagePtr& image, double scale);

}  // namespace platform::qt
