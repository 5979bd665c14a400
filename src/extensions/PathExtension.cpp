#include "extensions/PathExtension.h"

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

}  // namespace extensions
