#include "leaf/MountTable.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <numeric>
#include <unordered_map>

#include "leaf/Descriptor.h"

namespace {

constexpr std::size_t kUsualSize = 16U << 10U;  // bytes
constexpr std::size_t kEscapeLength = 4;

std::string_view takeUntil(std::string_view& text, char separator) {
  const auto part = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(text.size(), part.size() + 1));
  return part;
}

std::optional<std::uint64_t> number(std::string_view text) {
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

bool isOctal(char c) { return c >= '0' && c <= '7'; }

bool isEscape(std::string_view text) {
  return text.size() >= kEscapeLength && text[0] == '\\' && isOctal(text[1]) && isOctal(text[2]) &&
         isOctal(text[3]);
}

// Six fields, a varying number of optional ones, a lone dash, the type, the source, the options.
std::optional<MountLine> parseMountLine(std::string_view line) {
  MountLine found;
  const auto identifier = number(takeUntil(line, ' '));
  const auto parent = number(takeUntil(line, ' '));
  if (!identifier || !parent) return std::nullopt;
  found.identifier = *identifier;
  found.parent = *parent;
  found.device = takeUntil(line, ' ');
  found.root = takeUntil(line, ' ');
  found.mountedOn = takeUntil(line, ' ');
  takeUntil(line, ' ');  // the mount's own options
  while (!line.empty() && takeUntil(line, ' ') != "-") {
  }
  found.type = takeUntil(line, ' ');
  if (!found.mountedOn.starts_with('/') || found.type.empty()) return std::nullopt;
  found.source = takeUntil(line, ' ');  // may be nothing at all
  return found;
}

// How many other mounts each covers at its own path.
std::vector<std::size_t> heights(const std::vector<MountLine>& lines) {
  std::unordered_map<std::uint64_t, std::size_t> places;
  for (std::size_t i = 0; i < lines.size(); ++i) places.emplace(lines[i].identifier, i);
  std::vector<std::size_t> found(lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    auto below = places.find(lines[i].parent);
    while (below != places.end() && lines[below->second].mountedOn == lines[i].mountedOn &&
           found[i] < lines.size()) {
      ++found[i];
      below = places.find(lines[below->second].parent);
    }
  }
  return found;
}

}  // namespace

// The kernel gives some lines at each call, however large the buffer.
std::optional<std::string> readMountTable(const std::string& process) {
  const Descriptor file(open((process + "/mountinfo").c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return std::nullopt;
  std::string text(kUsualSize, '\0');
  std::size_t length = 0;
  while (true) {
    if (length == text.size()) text.resize(2 * length);
    const ssize_t got = read(file.get(), text.data() + length, text.size() - length);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    length += static_cast<std::size_t>(got);
  }
  text.resize(length);
  return text;
}

std::vector<MountLine> parseMountTable(std::string_view text) {
  std::vector<MountLine> lines;
  while (!text.empty()) {
    if (auto line = parseMountLine(takeUntil(text, '\n'))) lines.push_back(*line);
  }
  return lines;
}

// A mount that was made detached and put in place later stands before one that it covers, so that
// the order of the table alone does not tell which is seen.
std::vector<MountLine> visibleFirst(std::vector<MountLine> lines) {
  std::reverse(lines.begin(), lines.end());
  const auto height = heights(lines);
  std::vector<std::size_t> order(lines.size());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return height[a] > height[b]; });
  std::vector<MountLine> sorted;
  sorted.reserve(lines.size());
  for (const std::size_t i : order) sorted.push_back(lines[i]);
  return sorted;
}

std::string withoutMountEscapes(std::string_view field) {
  std::string plain;
  plain.reserve(field.size());
  while (!field.empty()) {
    const bool escape = isEscape(field);
    plain += escape
                 ? static_cast<char>((field[1] - '0') * 64 + (field[2] - '0') * 8 + field[3] - '0')
                 : field[0];
    field.remove_prefix(escape ? kEscapeLength : 1);
  }
  return plain;
}
