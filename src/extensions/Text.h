#pragma once
// Characters and lines of UTF-8 texts, with the classes of characters that the macOS frameworks
// name. Positions and lengths are bytes unless said otherwise.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace extensions {

bool isValidUtf8(std::string_view text);
// nullopt for invalid UTF-8.
std::optional<std::u32string> codePoints(std::string_view utf8);
std::string utf8FromCodePoints(std::u32string_view codePoints);
// The length in UTF-16 units, in which the platform counts the characters of a name. A byte that is
// no part of valid UTF-8 counts one.
std::size_t utf16Length(std::string_view utf8);
// Lone surrogates become U+FFFD.
std::string utf8FromUtf16(std::u16string_view utf16);
// What is no valid UTF-8 becomes U+FFFD.
std::u16string utf16FromUtf8(std::string_view utf8);

bool isNewlineCharacter(char32_t character);     // U+000A to U+000D, U+0085, U+2028, U+2029
bool isControlCharacter(char32_t character);     // categories Cc and Cf
bool isSymbolCharacter(char32_t character);      // categories Sm, Sc, Sk, So
bool isIllegalCharacter(char32_t character);     // not assigned, non-characters, surrogates
bool isWhitespaceCharacter(char32_t character);  // category Zs and the tabulator

std::string trimmedWhitespace(std::string_view text);
std::string trimmedWhitespaceAndNewlines(std::string_view text);

// start to contentsEnd is the text, contentsEnd to end its terminator.
struct TextRange {
  std::size_t start = 0;
  std::size_t contentsEnd = 0;
  std::size_t end = 0;
  bool operator==(const TextRange&) const = default;
};

// The paragraph or line that holds the byte at `position`; behind the last terminator an empty one.
// Paragraphs end with LF, CR, CR LF or U+2029; lines also with U+0085 and U+2028.
TextRange paragraphAt(std::string_view utf8, std::size_t position);
TextRange lineAt(std::string_view utf8, std::size_t position);

// Below, equal to or above 0, by case-folded code points of the decomposed texts; by bytes where
// one is no valid UTF-8.
int compareIgnoringCase(std::string_view a, std::string_view b);

}  // namespace extensions
