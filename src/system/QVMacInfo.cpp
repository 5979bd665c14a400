#include "system/QVMacInfo.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "core/QVLog.h"
#include "platform/Services.h"
#include "system/Kept.h"

namespace {

constexpr double kMinute = 60;
constexpr double kHour = 3600;
constexpr double kDay = 86400;

// What is kept of the machine.
struct Answers {
  Kept<std::uint64_t> physicalMemory;
  Kept<std::string> processorInfo;
  Kept<std::optional<std::string>> productVersion;
  Kept<bool> isMojave;
  Kept<bool> isHighSierra;
  Kept<bool> isSierra;
  Kept<bool> isElCapitan;
  Kept<bool> isYosemite;
};

Answers& answers() {
  static Answers kept;
  return kept;
}

const std::shared_ptr<platform::Machine>& machine() { return platform::services().machine; }

double processorGigahertz() {
  int code = 0;
  const auto hertz = machine()->processorFrequency(code);
  if (!hertz) QVLogError("QVMacInfo", "sysctl:{}", code);
  return hertz.value_or(0) * 1e-9;
}

bool isAtLeastTen(int minor, Kept<bool>& kept) {
  return kept.get(machine(),
                  [&] { return machine()->isSystemAtLeast(10, minor, 0).value_or(false); });
}

}  // namespace

std::uint64_t QVMacInfo::physicalMemory() {
  return answers().physicalMemory.get(machine(), [] { return machine()->physicalMemory(); });
}

bool QVMacInfo::getMemoryStatistics(QVMemoryStatistics& statistics) {
  statistics = {};
  const auto pages = machine()->virtualMemory();
  if (!pages) return false;
  statistics.freeBytes = pages->free * pages->pageSize;
  statistics.activeBytes = pages->active * pages->pageSize;
  statistics.inactiveBytes = pages->inactive * pages->pageSize;
  statistics.wiredBytes = pages->wired * pages->pageSize;
  statistics.purgeableBytes = pages->purgeable * pages->pageSize;
  statistics.compressedBytes = pages->compressed * pages->pageSize;
  return true;
}

std::optional<std::string> QVMacInfo::macModelType() {
  int code = 0;
  auto model = machine()->hardwareModel(code);
  if (!model) QVLogError("QVMacInfo", "sysctl:{}", code);
  return model;
}

std::string QVMacInfo::processorInfo() {
  return answers().processorInfo.get(machine(), [] {
    return fmt::format("{:.2f} Ghz ({})", processorGigahertz(), machine()->processorCount());
  });
}

// "hour" for anything between one and two, and 3600 seconds as minutes: the menu has always read
// so.
std::string QVMacInfo::systemUptime() {
  const double uptime = machine()->uptime();
  if (uptime > 2 * kDay) return fmt::format("{:.0f}, {:.2f} days", uptime, uptime / kDay);
  if (uptime >= 2 * kHour) return fmt::format("{:.0f}, {:.2f} hours", uptime, uptime / kHour);
  if (uptime > kHour) return fmt::format("{:.0f}, {:.2f} hour", uptime, uptime / kHour);
  if (uptime >= 2 * kMinute) return fmt::format("{:.0f}, {:.2f} minutes", uptime, uptime / kMinute);
  return fmt::format("{:.0f}, {:.0f} sec(s)", uptime, uptime);
}

std::optional<std::string> QVMacInfo::productSystemVersion() {
  return answers().productVersion.get(machine(), [] { return machine()->productVersion(); });
}

bool QVMacInfo::isAtLeastMacOSX(std::string_view version) {
  if (version == "10.14") return isAtLeastTen(14, answers().isMojave);
  if (version == "10.13") return isAtLeastTen(13, answers().isHighSierra);
  if (version == "10.12") return isAtLeastTen(12, answers().isSierra);
  QVLogCriticalException("QVMacInfo", "not yet supported");
  return false;
}

bool QVMacInfo::isElCapitanOrBetter() { return isAtLeastTen(11, answers().isElCapitan); }
bool QVMacInfo::isYosemiteOrBetter() { return isAtLeastTen(10, answers().isYosemite); }

bool QVMacInfo::isMavericksOrBetter() {
  if (isYosemiteOrBetter()) return true;
  const auto version = productSystemVersion();
  return version && version->starts_with("10.9");
}

void QVMacInfo::forgetCachedAnswers() {
  auto& kept = answers();
  kept.physicalMemory.forget();
  kept.processorInfo.forget();
  kept.productVersion.forget();
  for (auto* version :
       {&kept.isMojave, &kept.isHighSierra, &kept.isSierra, &kept.isElCapitan, &kept.isYosemite}) {
    version->forget();
  }
}

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
