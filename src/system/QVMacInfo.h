#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Byte counts of the virtual memory system.
struct QVMemoryStatistics {
  std::uint64_t freeBytes = 0;
  std::uint64_t activeBytes = 0;
  std::uint64_t inactiveBytes = 0;
  std::uint64_t wiredBytes = 0;
  std::uint64_t purgeableBytes = 0;
  std::uint64_t compressedBytes = 0;
};

// The machine and its system. Answers that cannot change are kept for the life of the process.
// Any thread: a race on first use only computes the same value twice.
class QVMacInfo {
 public:
  static std::uint64_t physicalMemory();  // bytes
  static bool getMemoryStatistics(QVMemoryStatistics& statistics);
  static std::optional<std::string> macModelType();
  static std::string processorInfo();
  static std::string systemUptime();
  static std::optional<std::string> productSystemVersion();

  // Knows "10.12", "10.13" and "10.14"; any other version is a programming error.
  static bool isAtLeastMacOSX(std::string_view version);
  static bool isElCapitanOrBetter();  // 10.11
  static bool isYosemiteOrBetter();   // 10.10
  static bool isMavericksOrBetter();  // 10.9

  // Forgets what is kept, for tests that change the machine.
  static void forgetCachedAnswers();
};

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
