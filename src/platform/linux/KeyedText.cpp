#include "platform/linux/KeyedText.h"

#include <algorithm>
#include <charconv>

namespace platform {

std::string_view withoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks(" \t\r\n\0", 5);
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<std::string_view> valueOfLine(std::string_view text, std::string_view key,
                                            char separator) {
  while (!text.empty()) {
    const auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    const auto split = line.find(separator);
    if (split != std::string_view::npos && withoutBlanks(line.substr(0, split)) == key)
      return withoutBlanks(line.substr(split + 1));
  }
  return std::nullopt;
}

std::optional<double> leadingNumber(std::string_view text) {
  text = withoutBlanks(text);
  double value = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc())
    return std::nullopt;
  return value;
}

}  // namespace platform
