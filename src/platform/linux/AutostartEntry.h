#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace platform {

// The text of an autostart entry. Setting a key changes its line and nothing else: comments, other
// keys and their translations, other groups and the order stay as they are, byte for byte.
class AutostartEntry {
 public:
  explicit AutostartEntry(std::string text) : text_(std::move(text)) {}

  // Starts the program and is not shown in menus.
  static AutostartEntry starting(const std::string& path);

  const std::string& text() const { return text_; }

  // Of the group "[Desktop Entry]", as written, blanks around it left out.
  std::optional<std::string> value(std::string_view key) const;
  void set(std::string_view key, std::string_view value);
  void remove(std::string_view key);

  bool isHidden() const;       // the user has deleted it, says the desktop
  bool isApplication() const;  // and no link or folder

  // Makes it start the program, unless it does so already, out of sight of the menus.
  void start(const std::string& path);

 private:
  struct Range {
    std::size_t start = 0;
    std::size_t end = 0;
  };
  Range group()
      const;  // its lines without its header; empty at the end of a text without the group
  std::optional<Range> line(std::string_view key) const;  // without the line break

  std::string text_;
};

}  // namespace platform
