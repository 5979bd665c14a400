#pragma once

#include <QPointer>
#include <QWidget>

namespace platform {

// A window as the seam passes it around. It does not keep the widget alive.
class Window {
 public:
  explicit Window(QWidget* shown) : widget(shown) {}
  QPointer<QWidget> widget;
};

}  // namespace platform
