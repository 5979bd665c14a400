#include "system/QVRamDiskFunctions.h"

#include <fmt/printf.h>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>

#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVRamDiskUtils.h"

namespace {

// A unit from its threshold on, the greatest first; the text is its key in the strings table.
struct PartUnit {
  double bytes;
  const char* text;
};

using Units = std::array<PartUnit, 6>;
using Texts = std::array<std::string, 6>;

constexpr Units unitsOf(double kilo) {
  return {PartUnit{kilo * kilo * kilo * kilo, "%.2f TB"},
          PartUnit{kilo * kilo * kilo, "%.2f GB"},
          PartUnit{kilo * kilo, "%.0f MB"},
          PartUnit{kilo, "%.0f KB"},
          PartUnit{1, "One Byte"},
          PartUnit{0, "Zero Byte"}};
}

constexpr Units kDecimal = unitsOf(1000);
constexpr Units kBinary = unitsOf(1024);

Texts translated(const Units& units) {
  Texts texts;
  for (std::size_t i = 0; i < units.size(); ++i) {
    texts[i] = platform::services().bundle->localizedString(units[i].text, "QVFunctions");
  }
  return texts;
}

// A translation that is no format for a number gives way to the text it translates.
std::string filled(const std::string& format, const PartUnit& unit, double count) {
  try {
    return fmt::sprintf(format, count);
  } catch (const fmt::format_error&) {
    return fmt::sprintf(unit.text, count);
  }
}

// "4.00 GB" becomes "4 GB"; "4.50 GB" stands.
std::string withoutEmptyFraction(std::string text) {
  const auto space = text.find(' ');
  if (space == std::string::npos) return text;
  const std::string number = text.substr(0, space);
  if (!number.ends_with(".0") && !number.ends_with(".00")) return text;
  const auto unitEnd = text.find(' ', space + 1);
  return number.substr(0, number.find('.')) + text.substr(space, unitEnd - space);
}

std::optional<std::string> textOf(std::int64_t bytes, const Units& units, Kept<Texts>& kept) {
  if (bytes < 0) return std::nullopt;
  const Texts texts = kept.get(platform::services().bundle, [&units] { return translated(units); });
  const auto count = static_cast<double>(bytes);
  std::size_t chosen = 0;
  while (count < units[chosen].bytes) ++chosen;
  const PartUnit& unit = units[chosen];
  if (unit.bytes <= 1) return withoutEmptyFraction(texts[chosen]);
  return withoutEmptyFraction(filled(texts[chosen], unit, count / unit.bytes));
}

}  // namespace

std::optional<std::string> QVRamDiskFunctions::stringFromBytesWithBin1000Style(std::int64_t bytes) {
  static Kept<Texts> kept;
  return textOf(bytes, kDecimal, kept);
}

std::optional<std::string> QVRamDiskFunctions::stringFromBytesWithBin1024Style(std::int64_t bytes) {
  static Kept<Texts> kept;
  return textOf(bytes, kBinary, kept);
}

namespace {

using platform::ImagePtr;

struct Icons {
  std::mutex mutex;
  std::map<std::string, ImagePtr, std::less<>> byName;
};

std::shared_ptr<Icons> keptIcons() {
  static Kept<std::shared_ptr<Icons>> kept;
  return kept.get(platform::services().graphics, [] { return std::make_shared<Icons>(); });
}

ImagePtr imageNamed(std::string_view name) {
  const auto& graphics = *platform::services().graphics;
  if (name.starts_with("NS") || name == "syncIcon") return graphics.imageNamed(name);
  if (name != "diskUtility") return nullptr;
  const auto path = QVRamDiskUtils::diskUtilityURL();
  return path ? graphics.iconForFile(*path) : nullptr;
}

}  // namespace

ImagePtr QVRamDiskFunctions::icon16Named(std::string_view name) {
  const auto icons = keptIcons();
  const std::lock_guard lock(icons->mutex);
  const auto found = icons->byName.find(name);
  if (found != icons->byName.end()) return found->second;
  ImagePtr icon = platform::services().graphics->resized(imageNamed(name), {16, 16});
  if (icon) icons->byName.emplace(name, icon);
  return icon;
}
