#include "cli/Columns.h"

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

}  // namespace cli
