#include <fmt/format.h>

#include <array>
#include <cmath>
#include <string_view>

#include "extensions/Text.h"
#include "platform/Services.h"
#include "system/QVFunctions.h"

namespace {

std::string fromLatin1(std::string_view bytes) {
  std::u32string text;
  text.reserve(bytes.size());
  for (const char byte : bytes) text += static_cast<unsigned char>(byte);
  return extensions::utf8FromCodePoints(text);
}

std::string fromUtf16(std::string_view bytes, bool bigEndian) {
  std::u16string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    text += static_cast<char16_t>(bigEndian ? first << 8U | second : second << 8U | first);
  }
  return extensions::utf8FromUtf16(text);
}

// A byte-order mark decides, then whether the bytes can be UTF-8; any bytes are Latin-1.
std::string decoded(std::string bytes) {
  const std::string_view view = bytes;
  if (view.starts_with("\xFE\xFF")) return fromUtf16(view.substr(2), true);
  if (view.starts_with("\xFF\xFE")) return fromUtf16(view.substr(2), false);
  if (!extensions::isValidUtf8(bytes)) return fromLatin1(bytes);
  if (view.starts_with("\xEF\xBB\xBF")) bytes.erase(0, 3);
  return bytes;
}

}  // namespace

std::optional<std::vector<std::string>> QVFunctions::linesFromString(
    const std::optional<std::string>& text, std::int64_t maxLines, std::uint64_t options) {
  if (!text) return std::nullopt;
  const bool trims = (options & kTrimAndDropEmpty) != 0;
  std::vector<std::string> lines;
  for (std::size_t position = 0; position < text->size();) {
    const auto range = extensions::paragraphAt(*text, position);
    position = range.end;
    std::string line = text->substr(range.start, range.contentsEnd - range.start);
    if (trims) line = extensions::trimmedWhitespaceAndNewlines(line);
    if (trims && line.empty()) continue;
    lines.push_back(std::move(line));
    if (maxLines > 0 && std::cmp_greater(lines.size(), maxLines)) break;
  }
  return lines;
}

std::optional<std::vector<std::string>> QVFunctions::linesFromString(
    const std::optional<std::string>& text) {
  return linesFromString(text, 0, 0);
}

std::optional<std::vector<std::string>> QVFunctions::linesFromFilePath(
    const std::string& path, std::optional<platform::SystemError>* error) {
  auto contents = platform::services().files->contents(path);
  if (error) *error = contents ? std::nullopt : std::optional(contents.error());
  if (!contents) return std::nullopt;
  return linesFromString(decoded(*std::move(contents)));
}

std::uint64_t QVFunctions::linesCountOfString(std::string_view text) {
  std::uint64_t count = 0;
  for (std::size_t position = 0; position < text.size(); ++count) {
    position = extensions::lineAt(text, position).end;
  }
  return count;
}

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
