#include "system/QVOSAppearance.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/Services.h"

namespace {

constexpr std::int64_t kGraphite = 6;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool saysDark(const std::string& style) {
  constexpr std::string_view dark = "dark";
  return std::equal(style.begin(), style.end(), dark.begin(), dark.end(),
                    [](char a, char b) { return lower(a) == b; });
}

}  // namespace

QV_OSAppearance& QV_OSAppearance::sharedInstance() {
  static QV_OSAppearance instance;
  return instance;
}

bool QV_OSAppearance::isDarkMode() {
  const auto style = platform::services().defaults->string("AppleInterfaceStyle");
  const bool dark = style && saysDark(*style);
  sharedInstance().isDarkMode_ = dark ? 1 : -1;
  return dark;
}

bool QV_OSAppearance::isDarkModeCached() {
  const std::int64_t known = sharedInstance().isDarkMode_;
  return known != 0 ? known == 1 : isDarkMode();
}

bool QV_OSAppearance::isGraphiteTheme() {
  return platform::services().defaults->integer("AppleAquaColorVariant") == kGraphite;
}
