#include "extensions/StringsFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "extensions/Text.h"

namespace extensions {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

std::string fromUtf16(std::string_view bytes, bool isLittleEndian) {
  std::u16string units;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const unsigned first = static_cast<unsigned char>(bytes[i]);
    const unsigned second = static_cast<unsigned char>(bytes[i + 1]);
    units += static_cast<char16_t>(isLittleEndian ? second << 8U | first : first << 8U | second);
  }
  return utf8FromUtf16(units);
}

std::optional<std::string> asUtf8(std::string_view bytes) {
  const bool isLittleEndian = bytes.starts_with("\xFF\xFE");
  if (isLittleEndian || bytes.starts_with("\xFE\xFF")) {
    if (bytes.size() % 2 != 0) return std::nullopt;
    return fromUtf16(bytes.substr(2), isLittleEndian);
  }
  if (!isValidUtf8(bytes)) return std::nullopt;
  return std::string(bytes.starts_with(kUtf8Mark) ? bytes.substr(kUtf8Mark.size()) : bytes);
}

// What a letter behind a backslash stands for; any other character stands for itself.
char unescaped(char c) {
  constexpr std::string_view letters = "abfnrtv";
  constexpr std::string_view meanings = "\a\b\f\n\r\t\v";
  const std::size_t at = letters.find(c);
  return at == std::string_view::npos ? c : meanings[at];
}

bool isOctal(char c) { return c >= '0' && c <= '7'; }

class Parser {
 public:
  explicit Parser(std::string_view text) : rest_(text) {}

  std::optional<std::map<std::string, std::string>> entries() {
    std::map<std::string, std::string> entries;
    for (;;) {
      if (!skipBlanks()) return std::nullopt;
      if (rest_.empty()) return entries;
      auto key = word();
      if (!key || !skipBlanks()) return std::nullopt;
      auto value = key;
      if (takeFront("=")) {
        if (!skipBlanks()) return std::nullopt;
        value = word();
        if (!value || !skipBlanks()) return std::nullopt;
      }
      if (!takeFront(";")) return std::nullopt;
      entries.insert_or_assign(std::move(*key), std::move(*value));
    }
  }

 private:
  bool takeFront(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  char takeCharacter() {
    const char c = rest_.front();
    rest_.remove_prefix(1);
    return c;
  }

  // White space and comments. False for a comment without an end.
  bool skipBlanks() {
    for (;;) {
      rest_.remove_prefix(std::min(rest_.find_first_not_of(" \t\r\n\f\v"), rest_.size()));
      if (takeFront("//")) {
        rest_.remove_prefix(std::min(rest_.find_first_of("\r\n"), rest_.size()));
      } else if (takeFront("/*")) {
        const std::size_t end = rest_.find("*/");
        if (end == std::string_view::npos) return false;
        rest_.remove_prefix(end + 2);
      } else {
        return true;
      }
    }
  }

  std::optional<std::string> word() {
    if (takeFront("\"")) return quoted('"');
    if (takeFront("'")) return quoted('\'');
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_$/:.-";
    const std::size_t length = std::min(rest_.find_first_not_of(plain), rest_.size());
    if (length == 0) return std::nullopt;
    const std::string word(rest_.substr(0, length));
    rest_.remove_prefix(length);
    return word;
  }

  // Behind the opening quote; up to and with the closing one.
  std::optional<std::string> quoted(char quote) {
    std::string text;
    while (!rest_.empty()) {
      const char c = takeCharacter();
      if (c == quote) return text;
      if (c != '\\') {
        text += c;
      } else if (!appendEscape(text)) {
        return std::nullopt;
      }
    }
    return std::nullopt;
  }

  bool appendEscape(std::string& text) {
    if (rest_.empty()) return false;
    if (rest_.front() == 'U' || rest_.front() == 'u') return appendUtf16(text);
    if (isOctal(rest_.front())) {
      text += utf8FromCodePoints(std::u32string(1, octal()));
    } else {
      text += unescaped(takeCharacter());
    }
    return true;
  }

  char32_t octal() {
    unsigned code = 0;
    for (int digits = 0; digits < 3 && !rest_.empty() && isOctal(rest_.front()); ++digits) {
      code = code * 8 + static_cast<unsigned>(takeCharacter() - '0');
    }
    return code;
  }

  // A run of units at once, as two together may be one character.
  bool appendUtf16(std::string& text) {
    std::u16string units;
    do {
      const auto unit = hexUnit(rest_.substr(1));
      if (!unit) return false;
      units += *unit;
      rest_.remove_prefix(5);
    } while ((rest_.starts_with("\\U") || rest_.starts_with("\\u")) && takeFront("\\"));
    text += utf8FromUtf16(units);
    return true;
  }

  static std::optional<char16_t> hexUnit(std::string_view digits) {
    if (digits.size() < 4) return std::nullopt;
    unsigned unit = 0;
    const char* end = digits.data() + 4;
    const auto [stopped, error] = std::from_chars(digits.data(), end, unit, 16);
    if (error != std::errc() || stopped != end) return std::nullopt;
    return static_cast<char16_t>(unit);
  }

  std::string_view rest_;
};

std::string escaped(char c) {
  switch (c) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  const auto code = static_cast<unsigned char>(c);
  return code < 0x20 || code == 0x7F ? fmt::format("\\U{:04x}", code) : std::string(1, c);
}

std::string quotedText(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) result += escaped(c);
  return result + "\"";
}

}  // namespace

std::optional<std::map<std::string, std::string>> parseStringsFile(std::string_view utf8) {
  const auto text = asUtf8(utf8);
  return text ? Parser(*text).entries() : std::nullopt;
}

std::string stringsFileText(const std::map<std::string, std::string>& entries) {
  std::string text;
  for (const auto& [key, value] : entries) {
    text += quotedText(key) + " = " + quotedText(value) + ";\n";
  }
  return text;
}

}  // namespace extensions
