#include "extensions/PathExtension.h"

#include <array>
#include <charconv>

namespace extensions {
namespace {

// Doubled slashes become one, and none remains at the end but in "/".
std::string standardized(std::string_view path) {
  std::string result;
  for (const char c : path) {
    if (c != '/' || !result.ends_with('/')) result += c;
  }
  if (result.size() > 1 && result.ends_with('/')) result.pop_back();
  return result;
}

std::string concatenated(std::string_view a, std::string_view b, std::string_view c) {
  std::string text(a);
  return text.append(b).append(c);
}

}  // namespace

std::string appendingPathComponent(std::string_view path, std::string_view component) {
  if (path.empty()) return standardized(component);
  return standardized(concatenated(path, "/", component));
}

std::string appendingPathExtension(std::string_view path, std::string_view extension) {
  std::string base = standardized(path);
  if (base.empty() || base == "/" || extension.empty()) return base;
  return concatenated(base, ".", extension);
}

std::string lastPathComponent(std::string_view path) {
  std::string base = standardized(path);
  if (base == "/") return base;
  return base.substr(base.rfind('/') + 1);
}

std::string deletingLastPathComponent(std::string_view path) {
  std::string base = standardized(path);
  const std::size_t slash = base.rfind('/');
  if (slash == std::string::npos) return {};
  return slash == 0 ? "/" : base.substr(0, slash);
}

std::string abbreviatingWithTilde(std::string_view path, std::string_view home) {
  std::string base = standardized(path);
  const std::string folder = standardized(home);
  if (folder.empty() || folder == "/") return base;
  if (base == folder) return "~";
  if (!base.starts_with(folder + "/")) return base;
  return "~" + base.substr(folder.size());
}

std::string expandingTilde(std::string_view path, std::string_view home) {
  const bool isInHome = path == "~" || path.starts_with("~/");
  if (!isInHome || home.empty()) return standardized(path);
  return standardized(concatenated(home, "/", path.substr(1)));
}

namespace {

constexpr std::string_view kScheme = "file://";
constexpr std::string_view kThisMachine = "localhost";

bool isPlain(char c) {
  constexpr std::string_view kMarks = "/-._~!$&'()*+,;=:@";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kMarks.find(c) != std::string_view::npos;
}

// The byte of a number "%41" at the front of a text; nullopt for what is none.
std::optional<char> numberedByte(std::string_view text) {
  constexpr std::size_t kLength = 3;
  unsigned byte = 0;
  if (text.size() < kLength) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data() + 1, text.data() + kLength, byte, 16);
  if (error != std::errc() || end != text.data() + kLength || byte == 0) return std::nullopt;
  return static_cast<char>(byte);
}

std::optional<std::string> decoded(std::string_view text) {
  std::string bytes;
  while (!text.empty()) {
    const bool isNumber = text.front() == '%';
    const auto byte = isNumber ? numberedByte(text) : text.front();
    if (!byte) return std::nullopt;
    bytes += *byte;
    text.remove_prefix(isNumber ? 3 : 1);
  }
  return bytes;
}

}  // namespace

std::string fileUrl(std::string_view path) {
  constexpr std::array kDigits = {'0', '1', '2', '3', '4', '5', '6', '7',
                                  '8', '9', 'A', 'B', 'C', 'D', 'E', 'F'};
  std::string url(kScheme);
  for (const char c : path) {
    if (isPlain(c)) {
      url += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    url += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
  }
  return url;
}

std::optional<std::string> pathOfFileUrl(std::string_view url) {
  if (!url.starts_with(kScheme)) return std::nullopt;
  url.remove_prefix(kScheme.size());
  if (url.starts_with(kThisMachine)) url.remove_prefix(kThisMachine.size());
  if (!url.starts_with('/')) return std::nullopt;
  return decoded(url);
}

}  // namespace extensions
