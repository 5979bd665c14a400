#include "platform/linux/LinuxDefaults.h"

namespace platform {

std::optional<std::string> LinuxDefaults::string(std::string_view key) const {
  auto kept = file_.string(key);
  if (kept || key != "AppleInterfaceStyle" || !colorScheme_->isDark()) return kept;
  return "Dark";
}

std::optional<std::int64_t> LinuxDefaults::integer(std::string_view key) const {
  return file_.integer(key);
}

}  // namespace platform
