#include "disktools/Result.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>

namespace disktools {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// How many bytes follow this first byte of a sequence, −1 for a byte that cannot be first.
int following(std::uint8_t byte) {
  if (byte < 0x80) return 0;
  if (byte >= 0xC2 && byte < 0xE0) return 1;
  if (byte >= 0xE0 && byte < 0xF0) return 2;
  return byte >= 0xF0 && byte < 0xF5 ? 3 : -1;
}

bool isCharacter(std::uint32_t point, std::size_t length) {
  if (length == 1) return (point >= 0x20 && point != 0x7F) || point == '\t' || point == '\n';
  const std::uint32_t least = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
  const bool surrogate = point >= 0xD800 && point < 0xE000;
  return point >= least && point <= 0x10FFFF && !surrogate && point != 0xFFFE && point != 0xFFFF;
}

// The length of the valid character that `text` begins with, 0 for none.
std::size_t characterLength(std::string_view text) {
  const auto first = static_cast<std::uint8_t>(text[0]);
  const int more = following(first);
  if (more < 0 || text.size() <= static_cast<std::size_t>(more)) return 0;
  const auto length = static_cast<std::size_t>(more) + 1;
  std::uint32_t point = length == 1 ? first : first & (0x3FU >> more);
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<std::uint8_t>(text[i]);
    if ((byte & 0xC0U) != 0x80) return 0;
    point = point << 6U | (byte & 0x3FU);
  }
  return isCharacter(point, length) ? length : 0;
}

}  // namespace

Problem systemProblem(std::string what, std::string advice) {
  return {std::move(what), errno, std::move(advice)};
}

std::string text(const Problem& problem) {
  std::string line = problem.what;
  // The words that people who use these commands know.
  if (problem.error == EBUSY)
    line += ": Resource busy";
  else if (problem.error != 0)
    line.append(": ").append(std::strerror(problem.error));
  if (!problem.advice.empty()) line.append(" (").append(problem.advice).append(")");
  return line;
}

std::string sizeText(std::uint64_t bytes) {
  constexpr std::uint64_t megabyte = std::uint64_t{1} << 20U;
  return bytes >= megabyte ? fmt::format("{} MB", bytes / megabyte)
                           : fmt::format("{} KB", bytes / 1024);
}

std::string validText(std::string_view bytes) {
  std::string out;
  while (!bytes.empty()) {
    const std::size_t length = characterLength(bytes);
    out += length == 0 ? kReplacement : bytes.substr(0, length);
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return out;
}

}  // namespace disktools
