#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace cli {

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
