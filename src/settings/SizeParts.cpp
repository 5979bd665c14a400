#include "settings/SizeParts.h"

#include <algorithm>

#include "extensions/Text.h"
#include "settings/SizeText.h"

namespace settings {
namespace {

constexpr std::array<std::uint64_t, kSizeUnits.size()> kBytes = {1'000'000, 1'000'000'000,
                                                                 1ULL << 20U, 1ULL << 30U};

// Decimal units divide every number of bytes within nine digits, binary ones within thirty.
std::string exactNumber(std::uint64_t bytes, std::uint64_t unit) {
  constexpr std::uint64_t kTen = 10;
  std::string digits;
  for (auto rest = bytes % unit; rest > 0; rest = rest * kTen % unit)
    digits += static_cast<char>('0' + rest * kTen / unit);
  return std::to_string(bytes / unit) + (digits.empty() ? "" : "." + digits);
}

}  // namespace

SizeParts sizeParts(std::uint64_t bytes) {
  SizeParts shortest;
  for (std::size_t i = 0; i < kSizeUnits.size(); ++i) {
    auto number = exactNumber(bytes, kBytes.at(i));
    if (shortest.unit.empty() || number.size() < shortest.number.size())
      shortest = {std::move(number), kSizeUnits.at(i)};
  }
  return shortest;
}

std::optional<std::uint64_t> bytesOfParts(std::string_view number, std::string_view unit) {
  std::string text = extensions::trimmedWhitespaceAndNewlines(std::string(number));
  std::replace(text.begin(), text.end(), ',', '.');
  return bytesFromText(text + std::string(unit));
}

}  // namespace settings
