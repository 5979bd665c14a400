#include "settings/TypedText.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <optional>

#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "extensions/Text.h"
#include "platform/Services.h"
#include "system/QVRamDiskFunctions.h"
#include "system/RealPath.h"

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

constexpr std::string_view kSpaces = " \t\n";
// What a word may hold without quotes, besides all beyond ASCII.
constexpr std::string_view kPlain =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789%+,-./:=@_~";

class Splitter {
 public:
  void take(char c) {
    if (escaped_) return takeEscaped(c);
    if (c == '\\' && quote_ != '\'') {
      escaped_ = true;
    } else if (quote_ != 0) {
      takeQuoted(c);
    } else if (c == '"' || c == '\'') {
      quote_ = c;
      if (!word_) word_.emplace();
    } else if (kSpaces.find(c) != std::string_view::npos) {
      endWord();
    } else {
      add(c);
    }
  }

  std::vector<std::string> end() {
    if (escaped_) add('\\');
    endWord();
    return std::move(words_);
  }

 private:
  void takeQuoted(char c) {
    if (c != quote_) return add(c);
    quote_ = 0;
  }
  void takeEscaped(char c) {
    escaped_ = false;
    if (quote_ == '"' && c != '"' && c != '\\') add('\\');
    add(c);
  }
  void add(char c) { (word_ ? *word_ : word_.emplace()) += c; }
  void endWord() {
    if (word_) words_.push_back(std::move(*word_));
    word_.reset();
  }

  std::vector<std::string> words_;
  std::optional<std::string> word_;
  char quote_ = 0;  // the quote that is open
  bool escaped_ = false;
};

bool isPlain(char c) {
  return static_cast<unsigned char>(c) > 0x7F || kPlain.find(c) != std::string_view::npos;
}

std::string quoted(const std::string& word) {
  if (!word.empty() && std::all_of(word.begin(), word.end(), isPlain)) return word;
  std::string text = "\"";
  for (const char c : word) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + '"';
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

std::string expandedPath(const std::string& path) {
  return extensions::expandingTilde(path, platform::services().places->home().value_or(""));
}

std::string absolutePath(const std::string& path) {
  std::error_code error;
  std::string written = std::filesystem::absolute(path, error).lexically_normal();
  if (written.size() > 1 && written.ends_with('/')) written.pop_back();
  std::string real = realPath(path);
  return realPath(written) == real ? written : real;
}

std::vector<std::string> wordsOfCommand(std::string_view text) {
  Splitter splitter;
  for (const char c : text) splitter.take(c);
  return splitter.end();
}

std::string commandText(const std::vector<std::string>& words) {
  std::string text;
  for (const auto& word : words) text += (text.empty() ? "" : " ") + quoted(word);
  return text;
}

}  // namespace settings
