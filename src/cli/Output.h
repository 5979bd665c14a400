#pragma once
// What results are written as: texts and tables on a screen of fixed-width cells, and JSON.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
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

// Writes one JSON value, indented, piece by piece. The caller keeps begin and end in pairs and
// gives every value in an object its key first.
class JsonWriter {
 public:
  explicit JsonWriter(std::ostream& out) : out_(out) {}

  void beginArray() { begin('['); }
  void endArray() { end(']'); }
  void beginObject() { begin('{'); }
  void endObject() { end('}'); }
  void key(std::string_view name);

  // Control characters are escaped and what is no UTF-8 becomes U+FFFD.
  void text(std::string_view value);
  void number(std::uint64_t value);
  void boolean(bool value);
  void null();

  // A key with its value; an absent text is null.
  void member(std::string_view name, const std::optional<std::string>& value);
  void member(std::string_view name, std::uint64_t value);
  void flag(std::string_view name, bool value);

 private:
  void begin(char bracket);
  void end(char bracket);
  void put(std::string_view token);
  void separate();

  std::ostream& out_;
  std::vector<bool> filled_;  // for each open bracket, whether something stands in it
  bool afterKey_ = false;
};

}  // namespace cli
