#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace platform {

// The text of a desktop entry, as freedesktop.org describes it. Setting a key changes its line and
// nothing else: comments, other keys and their translations, other groups and the order stay as
// they are, byte for byte.
class DesktopEntry {
 public:
  explicit DesktopEntry(std::string text) : text_(std::move(text)) {}

  const std::string& text() const { return text_; }

  // Of the group "[Desktop Entry]", as written, blanks around it left out. Groups of actions follow
  // it and have keys of the same names.
  std::optional<std::string> value(std::string_view key) const;
  void set(std::string_view key, std::string_view value);
  void remove(std::string_view key);

  // The text that a value stands for; empty for none.
  std::string string(std::string_view key) const;
  // The program that "Exec" starts, see programOfExec().
  std::optional<std::string> program() const;

  bool isHidden() const;       // its user has deleted it, says the desktop
  bool isApplication() const;  // and no link or folder

 private:
  struct Range {
    std::size_t start = 0;
    std::size_t end = 0;
  };
  // The group's lines without its header; empty at the end of a text without the group.
  Range group() const;
  std::optional<Range> line(std::string_view key) const;  // without the line break

  std::string text_;
};

// A value is escaped as a string: \s \n \t \r \\.
std::string unescapedValue(std::string_view value);
std::string escapedValue(std::string_view text);

// The program that the value of "Exec" starts, a path or a name to look for in PATH; "env" with its
// settings is passed over. nullopt for none, and for a quote without its end.
std::optional<std::string> programOfExec(std::string_view value);

// The value of "Exec" that starts the program without arguments.
std::string execOfProgram(std::string_view path);

}  // namespace platform
