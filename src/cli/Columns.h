#pragma once
// Texts on a screen of fixed-width cells.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

// The text with what a terminal would obey, control characters and invalid UTF-8, made harmless.
std::string printable(std::string_view text);

// The cells that a text takes; wide characters take two, combining ones none.
std::size_t columns(std::string_view text);

// The text cut to so many cells, with "…" in the last one when something was cut.
std::string fitted(std::string_view text, std::size_t most);

// Rows of cells, each column as wide as its widest cell, without spaces at the ends of lines.
class Table {
 public:
  explicit Table(std::vector<std::string> heads) { rows_.push_back(std::move(heads)); }

  void add(std::vector<std::string> cells);
  std::string text() const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace cli
