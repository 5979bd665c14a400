#include "disktools/MountTable.h"

#include <fstream>
#include <optional>
#include <sstream>

#include "disktools/Record.h"

namespace disktools {

namespace {

bool isOctal(char c) { return c >= '0' && c <= '7'; }

// The table writes blank, tab, line end and backslash as a backslash and three octal digits.
std::string unescaped(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) &&
                        isOctal(text[i + 2]) && isOctal(text[i + 3]);
    if (!escape) {
      out += text[i];
      continue;
    }
    const int value = (text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 + (text[i + 3] - '0');
    out += static_cast<char>(value);
    i += 3;
  }
  return out;
}

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> out;
  while (!line.empty()) {
    out.push_back(line.substr(0, line.find(' ')));
    line.remove_prefix(std::min(line.size(), out.back().size() + 1));
  }
  return out;
}

// Between the sixth word and the lone dash stands a varying number of optional ones.
std::optional<MountEntry> parseLine(std::string_view line) {
  const auto all = words(line);
  std::size_t dash = 6;
  while (dash < all.size() && all[dash] != "-") ++dash;
  if (dash + 2 >= all.size()) return std::nullopt;
  const auto id = decimal(all[0]);
  if (!id) return std::nullopt;
  return MountEntry{*id,
                    std::string(all[2]),
                    unescaped(all[3]),
                    unescaped(all[4]),
                    std::string(all[dash + 1]),
                    unescaped(all[dash + 2])};
}

}  // namespace

MountTable parseMountTable(std::string_view text) {
  MountTable table;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    if (auto entry = parseLine(line)) table.push_back(std::move(*entry));
  }
  return table;
}

Result<MountTable> readMountTable() {
  std::ifstream file("/proc/self/mountinfo", std::ios::binary);
  std::ostringstream text;
  if (file) text << file.rdbuf();
  MountTable table = parseMountTable(text.str());
  if (table.empty()) return Problem{"cannot read the mount table", 0, "is /proc mounted?"};
  return table;
}

}  // namespace disktools
