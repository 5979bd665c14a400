#include "tests/soak/Contents.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

namespace soak {
namespace {

constexpr std::size_t kLineDigits = 7;

std::string firstLine(const Content& content) {
  return fmt::format("file {:05} version {:05} line {:0{}}\n", content.file, content.version, 0,
                     kLineDigits);
}

void countUp(char* lastDigit) {
  while (*lastDigit == '9') *lastDigit-- = '0';
  ++*lastDigit;
}

std::size_t equalBytes(std::string_view one, std::string_view other) {
  const auto [end, ignored] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
  return static_cast<std::size_t>(end - one.begin());
}

}  // namespace

std::string textOf(const Content& content) {
  std::string line = firstLine(content);
  std::string text;
  text.reserve(content.size + line.size());
  while (text.size() < content.size) {
    text += line;
    countUp(&line[line.size() - 2]);
  }
  text.resize(content.size);
  return text;
}

std::string describe(std::string_view bytes) {
  Content content{0, 0, bytes.size()};
  const std::string start(bytes.substr(0, firstLine(content).size()));
  if (std::sscanf(start.c_str(), "file %u version %u", &content.file, &content.version) != 2)
    return fmt::format("{} bytes that begin like no version of a file", bytes.size());
  const std::size_t whole = equalBytes(bytes, textOf(content));
  const auto name = fmt::format("file {} version {}", content.file, content.version);
  if (whole == bytes.size()) return fmt::format("{}, its first {} bytes", name, whole);
  return fmt::format("{} up to byte {} of {}, then something else", name, whole, bytes.size());
}

}  // namespace soak
