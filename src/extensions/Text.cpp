#include "extensions/Text.h"

#include <utf8proc.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace extensions {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// The character at the front of a text. An invalid byte counts as one character without a code.
struct Decoded {
  std::optional<char32_t> character;
  std::size_t length = 1;
};

Decoded decodedFront(std::string_view text) {
  const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
  utf8proc_int32_t code = 0;
  const auto used = utf8proc_iterate(bytes, static_cast<utf8proc_ssize_t>(text.size()), &code);
  if (used <= 0) return {};
  return {static_cast<char32_t>(code), static_cast<std::size_t>(used)};
}

// Calls visit(character, its position, its length) until that returns false.
template <class Visit>
bool forEachCharacter(std::string_view text, Visit visit) {
  for (std::size_t at = 0; at < text.size();) {
    const Decoded decoded = decodedFront(text.substr(at));
    if (!visit(decoded.character, at, decoded.length)) return false;
    at += decoded.length;
  }
  return true;
}

utf8proc_category_t category(char32_t character) {
  return utf8proc_category(static_cast<utf8proc_int32_t>(character));
}

template <class IsTrimmed>
std::string trimmed(std::string_view text, IsTrimmed isTrimmed) {
  std::size_t start = text.size();
  std::size_t end = text.size();
  forEachCharacter(text,
                   [&](std::optional<char32_t> character, std::size_t at, std::size_t length) {
                     if (character && isTrimmed(*character)) return true;
                     if (start == text.size()) start = at;
                     end = at + length;
                     return true;
                   });
  return std::string(text.substr(start, end - start));
}

enum class Breaks { Paragraphs, Lines };

// The length of the terminator at the front of the text, 0 for none.
std::size_t terminatorLength(std::string_view text, Breaks breaks) {
  if (text.starts_with("\r\n")) return 2;
  if (text.starts_with('\n') || text.starts_with('\r')) return 1;
  if (text.starts_with("\u2029")) return 3;
  if (breaks == Breaks::Paragraphs) return 0;
  if (text.starts_with("\u0085")) return 2;
  return text.starts_with("\u2028") ? 3 : 0;
}

// The longest terminator is of 3 bytes: whether one that started before `position` ends after it.
std::size_t outOfTerminator(std::string_view text, std::size_t position, Breaks breaks) {
  for (std::size_t back = 1; back <= 2 && back <= position; ++back) {
    if (terminatorLength(text.substr(position - back), breaks) > back) return position - back;
  }
  return position;
}

bool endsWithTerminator(std::string_view text, Breaks breaks) {
  for (std::size_t length = 1; length <= 3 && length <= text.size(); ++length) {
    if (terminatorLength(text.substr(text.size() - length), breaks) == length) return true;
  }
  return false;
}

TextRange rangeAt(std::string_view text, std::size_t position, Breaks breaks) {
  position = outOfTerminator(text, std::min(position, text.size()), breaks);
  std::size_t start = position;
  while (start > 0 && !endsWithTerminator(text.substr(0, start), breaks)) --start;
  std::size_t end = position;
  while (end < text.size() && terminatorLength(text.substr(end), breaks) == 0) ++end;
  return {start, end, end + terminatorLength(text.substr(end), breaks)};
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<signed char>(c) >= 0; });
}

// What folding makes of ASCII, without the library's tables: most names that are sorted are so.
std::string foldedAscii(std::string text) {
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return text;
}

// nullopt for invalid UTF-8.
std::optional<std::string> folded(std::string_view text) {
  if (isAscii(text)) return foldedAscii(std::string(text));
  utf8proc_uint8_t* result = nullptr;
  constexpr auto options = UTF8PROC_STABLE | UTF8PROC_DECOMPOSE | UTF8PROC_CASEFOLD;
  const auto length = utf8proc_map(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                   static_cast<utf8proc_ssize_t>(text.size()), &result,
                                   static_cast<utf8proc_option_t>(options));
  const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(result, std::free);
  if (length < 0) return std::nullopt;
  return std::string(reinterpret_cast<const char*>(result), static_cast<std::size_t>(length));
}

void appendUtf8(std::string& text, char32_t character) {
  utf8proc_uint8_t bytes[4] = {};
  if (!utf8proc_codepoint_valid(static_cast<utf8proc_int32_t>(character))) character = kReplacement;
  const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(character), bytes);
  text.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
}

bool isLeadSurrogate(char16_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isTrailSurrogate(char16_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

bool isValidUtf8(std::string_view text) {
  return forEachCharacter(text, [](std::optional<char32_t> character, std::size_t, std::size_t) {
    return character.has_value();
  });
}

std::optional<std::u32string> codePoints(std::string_view utf8) {
  std::u32string characters;
  const bool isValid =
      forEachCharacter(utf8, [&](std::optional<char32_t> character, std::size_t, std::size_t) {
        if (character) characters += *character;
        return character.has_value();
      });
  return isValid ? std::optional(characters) : std::nullopt;
}

std::string utf8FromCodePoints(std::u32string_view codePoints) {
  std::string text;
  for (const char32_t character : codePoints) appendUtf8(text, character);
  return text;
}

std::size_t utf16Length(std::string_view utf8) {
  std::size_t length = 0;
  forEachCharacter(utf8, [&](std::optional<char32_t> character, std::size_t, std::size_t) {
    length += character.value_or(0) > 0xFFFF ? 2 : 1;
    return true;
  });
  return length;
}

std::string utf8FromUtf16(std::u16string_view utf16) {
  std::string text;
  for (std::size_t i = 0; i < utf16.size(); ++i) {
    char32_t character = utf16[i];
    if (isLeadSurrogate(utf16[i]) && i + 1 < utf16.size() && isTrailSurrogate(utf16[i + 1])) {
      character = 0x10000 + ((character - 0xD800) << 10U) + (utf16[++i] - 0xDC00U);
    }
    appendUtf8(text, character);
  }
  return text;
}

std::u16string utf16FromUtf8(std::string_view utf8) {
  std::u16string units;
  forEachCharacter(utf8, [&](std::optional<char32_t> character, std::size_t, std::size_t) {
    const char32_t code = character.value_or(kReplacement);
    if (code > 0xFFFF) units += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10U));
    units += static_cast<char16_t>(code > 0xFFFF ? 0xDC00 + (code & 0x3FFU) : code);
    return true;
  });
  return units;
}

bool isNewlineCharacter(char32_t character) {
  return (character >= 0x0A && character <= 0x0D) || character == 0x85 || character == 0x2028 ||
         character == 0x2029;
}

bool isControlCharacter(char32_t character) {
  return category(character) == UTF8PROC_CATEGORY_CC || category(character) == UTF8PROC_CATEGORY_CF;
}

bool isSymbolCharacter(char32_t character) {
  switch (category(character)) {
    case UTF8PROC_CATEGORY_SM:
    case UTF8PROC_CATEGORY_SC:
    case UTF8PROC_CATEGORY_SK:
    case UTF8PROC_CATEGORY_SO:
      return true;
    default:
      return false;
  }
}

bool isIllegalCharacter(char32_t character) {
  return character > 0x10FFFF || category(character) == UTF8PROC_CATEGORY_CN ||
         category(character) == UTF8PROC_CATEGORY_CS;
}

bool isWhitespaceCharacter(char32_t character) {
  return character == '\t' || category(character) == UTF8PROC_CATEGORY_ZS;
}

std::string trimmedWhitespace(std::string_view text) {
  return trimmed(text, isWhitespaceCharacter);
}

std::string trimmedWhitespaceAndNewlines(std::string_view text) {
  return trimmed(text, [](char32_t character) {
    return isWhitespaceCharacter(character) || isNewlineCharacter(character);
  });
}

TextRange paragraphAt(std::string_view utf8, std::size_t position) {
  return rangeAt(utf8, position, Breaks::Paragraphs);
}

TextRange lineAt(std::string_view utf8, std::size_t position) {
  return rangeAt(utf8, position, Breaks::Lines);
}

int compareIgnoringCase(std::string_view a, std::string_view b) {
  const auto foldedA = folded(a);
  const auto foldedB = folded(b);
  return foldedA && foldedB ? foldedA->compare(*foldedB) : a.compare(b);
}

}  // namespace extensions
