#include "platform/qt/settings/DiskPicture.h"

#include "kinds/QVRamDiskManager.h"
#include "platform/qt/drawing/QtCanvas.h"

namespace platform::qt {
namespace {

void paintWhole(Canvas& canvas, const ImagePtr& image, Rect to, double opacity) {
  if (!image) return;
  canvas.draw(image, to, {0, 0, image->size().width, image->size().height}, Compositing::SourceOver,
              opacity);
}

}  // namespace

void paintDisk(QPainter& painter, const QRect& rect, QVRamDiskType type, bool mounted) {
  constexpr double kLarge = 128;  // points of the pictures that are scaled down
  constexpr double kPale = 0.5;
  const double opacity = mounted ? 1 : kPale;
  const Size size{static_cast<double>(rect.width()), static_cast<double>(rect.height())};
  painter.save();
  painter.translate(rect.topLeft());
  QtCanvas canvas(painter, size);
  paintWhole(canvas, QVRamDiskManager::ramDiskIcon(kLarge), {0, 0, size.width, size.height},
             opacity);
  paintWhole(canvas, QVRamDiskManager::specificIconFromType(type, kLarge),
             {size.width / 2, 0, size.width / 2, size.height / 2}, opacity);
  painter.restore();
}

}  // namespace platform::qt
