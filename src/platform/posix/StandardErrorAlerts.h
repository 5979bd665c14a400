#pragma once

#include <unistd.h>

#include "platform/Alerts.h"

namespace platform {

// Alerts where there is no screen: written out, never waited for; the answer is the first button.
class StandardErrorAlerts : public Alerts {
 public:
  // The descriptor stays the caller's.
  explicit StandardErrorAlerts(int descriptor = STDERR_FILENO) : descriptor_(descriptor) {}

  std::size_t runModal(const Alert& alert) override;

 private:
  int descriptor_;
};

}  // namespace platform
