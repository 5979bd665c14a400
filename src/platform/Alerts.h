#pragma once

#include <string>
#include <vector>

namespace platform {

struct Alert {
  std::string title;
  std::string text;
  std::vector<std::string> buttons;
};

// Main thread only.
class Alerts {
 public:
  virtual ~Alerts() = default;

  // Blocks until the user has answered; gives the index of the button chosen. A port without a
  // screen writes the alert to standard error and answers 0.
  virtual std::size_t runModal(const Alert& alert) = 0;
};

}  // namespace platform
