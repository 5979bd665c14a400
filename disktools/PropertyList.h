#pragma once
// A writer of XML property lists, small enough to be trusted in a privileged program.

#include <string>
#include <string_view>

namespace disktools {

// UTF-8 with every invalid byte, and every control character that XML has no place for, turned
// into U+FFFD.
std::string validText(std::string_view bytes);

// Builds one document. Every open…() is paired with its close…(); key() stands before each value
// of a dictionary.
class PropertyList {
 public:
  void openDictionary() { line("<dict>"), ++depth_; }
  void closeDictionary() { --depth_, line("</dict>"); }
  void openArray() { line("<array>"), ++depth_; }
  void closeArray() { --depth_, line("</array>"); }
  void key(std::string_view name) { element("key", name); }
  void string(std::string_view value) { element("string", value); }

  std::string document() const;

 private:
  void line(std::string_view text);
  void element(std::string_view tag, std::string_view text);

  std::string body_;
  std::size_t depth_ = 0;
};

}  // namespace disktools
