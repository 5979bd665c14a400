#pragma once

#include <QByteArray>

#include "platform/qt/drawing/QtImage.h"

namespace platform::qt {

// The picture in an icon container ("icns"): a header "icns" with the length of the whole, then
// entries of a four-letter type, their length with these eight bytes, and data, all numbers
// big-endian. Entries in PNG are understood.
class ContainerImage : public QtImage {
 public:
  // Null unless the file holds a picture. The file is read now.
  static ImagePtr load(const std::string& path);

  ContainerImage(Size size, std::vector<QByteArray> pictures)
      : QtImage(size), pictures_(std::move(pictures)) {}

 protected:
  QImage rendered(QSize pixels, double scale) const override;

 private:
  const std::vector<QByteArray> pictures_;
};

}  // namespace platform::qt
