#include <fmt/format.h>

#include <array>
#include <cmath>
#include <string_view>

#include "system/QVFunctions.h"

// The binary style of the macOS byte-count formatter with its adaptive precision: bytes and
// kilobytes whole, megabytes with one decimal, everything above with two, zeros at the end left
// out, thousands grouped, and units of 1024 under the decimal units' names.

namespace {

struct Unit {
  std::string_view name;
  std::int64_t scale;  // 10 to the power of its decimals
};

constexpr std::array<Unit, 6> kUnits = {
    {{"KB", 1}, {"MB", 10}, {"GB", 100}, {"TB", 100}, {"PB", 100}, {"EB", 100}}};

constexpr std::int64_t kKilo = 1024;

std::string grouped(std::int64_t number) {  // below one million
  if (number < 1000) return fmt::format("{}", number);
  return fmt::format("{},{:03}", number / 1000, number % 1000);
}

// `scaled` is the number times `scale`.
std::string decimal(std::int64_t scaled, std::int64_t scale) {
  std::string text = grouped(scaled / scale);
  std::int64_t fraction = scaled % scale;
  if (fraction == 0) return text;
  text += '.';
  for (std::int64_t place = scale / 10; fraction != 0; place /= 10) {
    text += static_cast<char>('0' + fraction / place);
    fraction %= place;
  }
  return text;
}

std::string textInUnits(std::int64_t bytes) {
  double value = static_cast<double>(bytes) / kKilo;
  for (const Unit& unit : kUnits) {
    // Rounded before the unit is settled on, so that 1023.96 MB reads as a gigabyte.
    const std::int64_t scaled = std::llround(value * static_cast<double>(unit.scale));
    if (scaled < kKilo * unit.scale || &unit == &kUnits.back()) {
      return fmt::format("{} {}", decimal(scaled, unit.scale), unit.name);
    }
    value /= kKilo;
  }
  return {};
}

}  // namespace

std::optional<std::string> QVFunctions::stringFromBytesWithBin1024Style(std::int64_t bytes) {
  if (bytes < 0) return std::nullopt;
  if (bytes == 0) return "Zero KB";
  if (bytes == 1) return "1 byte";
  if (bytes < kKilo) return grouped(bytes) + " bytes";
  return textInUnits(bytes);
}
