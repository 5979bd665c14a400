#pragma once

#include <QPointer>
#include <QWidget>

#include "platform/Desktop.h"

namespace platform {

// A window as the seam passes it around. It does not keep the widget alive.
class Window {
 public:
  explicit Window(QWidget* shown) : widget(shown) {}
  QPointer<QWidget> widget;
};

}  // namespace platform

namespace platform::qt {

// Alerts as message boxes. They come up without taking the keyboard from the program that the user
// is typing into; the main loop goes on meanwhile. Dismissing one without a choice is choosing its
// last button.
class QtAlerts : public Alerts {
 public:
  std::size_t runModal(const Alert& alert) override;
  bool runAsSheet(const Alert& alert, const std::shared_ptr<Window>& window,
                  const std::function<void(std::size_t)>& ended) override;
};

}  // namespace platform::qt
