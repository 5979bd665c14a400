#include "cli/JsonWriter.h"

#include <fmt/format.h>

#include "extensions/Text.h"

namespace cli {
namespace {

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
