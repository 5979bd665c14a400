#pragma once
// Binary property lists put together by hand, so that reading is not held against our own writing.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

inline std::string bigEndianBytes(std::uint64_t value, std::size_t size) {
  std::string bytes;
  for (std::size_t i = size; i-- > 0;) bytes += static_cast<char>(value >> (8 * i));
  return bytes;
}

// Each object is its own bytes; references in them take one byte. The first object is the top.
inline std::string binaryList(const std::vector<std::string>& objects) {
  std::string file = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndianBytes(file.size(), 4);
    file += object;
  }
  const auto tableOffset = file.size();
  file += table + bigEndianBytes(0x0401, 8);  // sizes of offsets and references
  return file + bigEndianBytes(objects.size(), 8) + bigEndianBytes(0, 8) +
         bigEndianBytes(tableOffset, 8);
}

inline std::string xmlList(std::string_view value) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//list//EN\" "
         "\"\">\n"
         "<plist version=\"1.0\">\n" +
         std::string(value) + "\n</plist>\n";
}

// A text of bytes, zeros included.
template <std::size_t size>
std::string bytes(const char (&literal)[size]) {
  return {literal, size - 1};
}
