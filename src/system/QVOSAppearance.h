#pragma once

#include <atomic>
#include <cstdint>

// The look of the desktop as its defaults tell it. Any thread.
class QV_OSAppearance {
 public:
  static QV_OSAppearance& sharedInstance();

  static bool isDarkMode();        // asks anew and keeps the answer
  static bool isDarkModeCached();  // asks only when nothing is kept
  static bool isGraphiteTheme();

 private:
  std::atomic<std::int64_t> isDarkMode_{0};  // 0 not yet asked, 1 yes, -1 no
};
