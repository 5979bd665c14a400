#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace platform {

struct Alert {
  std::string title;
  std::string text;
  std::vector<std::string> buttons;
};

// A window of the port's own kind.
class Window;

// Main thread only.
class Alerts {
 public:
  virtual ~Alerts() = default;

  // Blocks until the user has answered; gives the index of the button chosen. A port without a
  // screen writes the alert to standard error and answers 0.
  virtual std::size_t runModal(const Alert& alert) = 0;

  // Shows the alert on the window, returns at once and calls `ended` with the button's index.
  // false, and nothing is shown, where the port has no sheets or there is no window.
  virtual bool runAsSheet(const Alert& /*alert*/, const std::shared_ptr<Window>& /*window*/,
                          const std::function<void(std::size_t)>& /*ended*/) {
    return false;
  }
};

}  // namespace platform
