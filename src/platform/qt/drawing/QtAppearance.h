#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "platform/Program.h"

namespace platform::qt {

// The defaults, with the desktop's appearance as people see it: dark where it says so, and also
// where it says nothing and has given the toolkit dark colours. Made on the main thread after the
// application; asked on any.
class QtAppearance : public Defaults {
 public:
  explicit QtAppearance(std::shared_ptr<Defaults> others);
  // Dark or light, whatever the desktop is.
  QtAppearance(std::shared_ptr<Defaults> others, bool isDark);

  std::optional<std::string> string(std::string_view key) const override;
  std::optional<std::int64_t> integer(std::string_view key) const override {
    return others_->integer(key);
  }
  bool setInteger(std::string_view key, std::int64_t value) override {
    return others_->setInteger(key, value);
  }

 private:
  const std::shared_ptr<Defaults> others_;
  const bool toolkitIsDark_;
  const std::optional<bool> fixed_;
};

// Brings the program's colours in line with the desktop's appearance, where the toolkit has not
// done so by itself. Main thread; whenever something is about to be shown.
void followAppearance();

}  // namespace platform::qt
