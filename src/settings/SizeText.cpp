#include "settings/SizeText.h"

#include <algorithm>
#include <limits>

#include "core/QVLog.h"
#include "system/QVRamDiskFunctions.h"

namespace settings {
namespace {

constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::string_view kPrefixes = "KMGT";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string upperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return upper;
}

// Bytes of a unit, nullopt for a text that is none.
std::optional<std::uint64_t> unitFromText(std::string_view text) {
  const std::string unit = upperCase(text);
  if (unit.empty() || unit == "B") return 1;
  const auto power = kPrefixes.find(unit.front());
  const auto rest = std::string_view(unit).substr(1);
  if (power == std::string_view::npos || (!rest.empty() && rest != "B" && rest != "IB"))
    return std::nullopt;
  const std::uint64_t base = rest == "IB" ? 1024 : 1000;
  std::uint64_t bytes = base;
  for (std::size_t i = 0; i < power; ++i) bytes *= base;
  return bytes;
}

std::string_view takeDigits(std::string_view& text) {
  const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
  const auto digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(digits.size());
  return digits;
}

// Digits times a unit; nullopt beyond 63 bits.
std::optional<std::uint64_t> wholePart(std::string_view digits, std::uint64_t unit) {
  std::uint64_t number = 0;
  for (const char digit : digits) {
    const auto value = static_cast<std::uint64_t>(digit - '0');
    if (number > (kMost - value) / 10) return std::nullopt;
    number = number * 10 + value;
  }
  if (number > kMost / unit) return std::nullopt;
  return number * unit;
}

// Bytes of the digits behind the point.
std::uint64_t fractionPart(std::string_view digits, std::uint64_t unit) {
  constexpr long double kTen = 10;
  long double value = 0;
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit)
    value = (value + static_cast<long double>(*digit - '0')) / kTen;
  constexpr long double kHair = 1e-6L;  // makes up for what decimal fractions lose in binary
  return static_cast<std::uint64_t>(value * static_cast<long double>(unit) + kHair);
}

}  // namespace

std::optional<std::uint64_t> bytesFromText(std::string_view text) {
  const auto whole = takeDigits(text);
  std::string_view fraction;
  if (!whole.empty() && text.starts_with('.')) {
    text.remove_prefix(1);
    fraction = takeDigits(text);
    if (fraction.empty()) return std::nullopt;
  }
  const auto unit = unitFromText(text);
  if (whole.empty() || !unit) return std::nullopt;
  const auto bytes = wholePart(whole, *unit);
  if (!bytes) return std::nullopt;
  const auto more = fractionPart(fraction, *unit);
  if (*bytes > kMost - more || *bytes + more == 0) return std::nullopt;
  return *bytes + more;
}

std::string sizeText(std::uint64_t bytes) {
  const auto counted = static_cast<std::int64_t>(std::min(bytes, kMost));
  return QVText(QVRamDiskFunctions::stringFromBytesWithBin1000Style(counted));
}

}  // namespace settings
