#include "cli/Output.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>

#include "extensions/Text.h"

namespace cli {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

std::u32string scalars(std::string_view text) {
  if (auto valid = extensions::codePoints(text)) return *valid;
  return extensions::codePoints(extensions::utf8FromUtf16(extensions::utf16FromUtf8(text)))
      .value_or(U"");
}

std::size_t cells(char32_t character) {
  const int width = utf8proc_charwidth(static_cast<utf8proc_int32_t>(character));
  return width > 0 ? static_cast<std::size_t>(width) : 0;
}

constexpr unsigned char kFirstPrintable = 0x20;

std::string escaped(std::string_view utf8) {
  std::string text = "\"";
  for (const char c : utf8) {
    if (c == '"' || c == '\\') {
      text += {'\\', c};
    } else if (c == '\n') {
      text += "\\n";
    } else if (c == '\t') {
      text += "\\t";
    } else if (static_cast<unsigned char>(c) < kFirstPrintable) {
      text += fmt::format("\\u{:04x}", static_cast<unsigned char>(c));
    } else {
      text += c;
    }
  }
  return text + "\"";
}

}  // namespace

std::string printable(std::string_view text) {
  auto characters = scalars(text);
  std::replace_if(characters.begin(), characters.end(), extensions::isControlCharacter,
                  kReplacement);
  return extensions::utf8FromCodePoints(characters);
}

std::size_t columns(std::string_view text) {
  std::size_t sum = 0;
  for (const char32_t character : scalars(text)) sum += cells(character);
  return sum;
}

std::string fitted(std::string_view text, std::size_t most) {
  if (columns(text) <= most) return std::string(text);
  if (most == 0) return {};
  std::u32string kept;
  std::size_t used = 1;  // of the ellipsis
  for (const char32_t character : scalars(text)) {
    used += cells(character);
    if (used > most) break;
    kept.push_back(character);
  }
  return extensions::utf8FromCodePoints(kept + U"…");
}

void Table::add(std::vector<std::string> cells) {
  cells.resize(rows_.front().size());
  std::transform(cells.begin(), cells.end(), cells.begin(),
                 [](const std::string& cell) { return printable(cell); });
  rows_.push_back(std::move(cells));
}

std::string Table::text() const {
  std::vector<std::size_t> widths(rows_.front().size());
  for (const auto& row : rows_)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], columns(row[i]));
  std::string text;
  for (const auto& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i)
      line += row[i] + std::string(widths[i] - columns(row[i]) + 2, ' ');
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

void JsonWriter::separate() {
  if (afterKey_ || filled_.empty()) {
    afterKey_ = false;
    return;
  }
  out_ << (filled_.back() ? ",\n" : "\n") << std::string(2 * filled_.size(), ' ');
  filled_.back() = true;
}

void JsonWriter::put(std::string_view token) {
  separate();
  out_ << token;
  if (filled_.empty()) out_ << '\n';
}

void JsonWriter::begin(char bracket) {
  separate();
  out_ << bracket;
  filled_.push_back(false);
}

void JsonWriter::end(char bracket) {
  const bool wasFilled = filled_.back();
  filled_.pop_back();
  if (wasFilled) out_ << '\n' << std::string(2 * filled_.size(), ' ');
  out_ << bracket;
  if (filled_.empty()) out_ << '\n';
}

void JsonWriter::key(std::string_view name) {
  separate();
  out_ << escaped(name) << ": ";
  afterKey_ = true;
}

void JsonWriter::text(std::string_view value) {
  if (extensions::isValidUtf8(value)) return put(escaped(value));
  put(escaped(extensions::utf8FromUtf16(extensions::utf16FromUtf8(value))));
}

void JsonWriter::number(std::uint64_t value) { put(std::to_string(value)); }
void JsonWriter::boolean(bool value) { put(value ? "true" : "false"); }
void JsonWriter::null() { put("null"); }

void JsonWriter::member(std::string_view name, const std::optional<std::string>& value) {
  key(name);
  value ? text(*value) : null();
}

void JsonWriter::member(std::string_view name, std::uint64_t value) {
  key(name);
  number(value);
}

void JsonWriter::flag(std::string_view name, bool value) {
  key(name);
  boolean(value);
}

}  // namespace cli
