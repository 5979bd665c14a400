#include "platform/qt/shell/PaintView.h"

#include "platform/qt/drawing/QtCanvas.h"

namespace platform::qt {

void paintView(QPainter& painter, menu::View& view) {
  painter.setRenderHint(QPainter::Antialiasing);
  QtCanvas canvas(painter, view.frame().size());
  view.display(canvas);
}

}  // namespace platform::qt
