#include "settings/PathText.h"

#include <filesystem>

#include "extensions/PathExtension.h"
#include "platform/Services.h"

namespace settings {

namespace fs = std::filesystem;

std::string expandedPath(const std::string& path) {
  return extensions::expandingTilde(path, platform::services().places->home().value_or(""));
}

std::string absolutePath(const std::string& path) {
  std::error_code error;
  const bool isLink = fs::is_symlink(path, error);
  const fs::path whole = isLink ? fs::canonical(path, error) : fs::absolute(path, error);
  std::string text = (error ? fs::path(path) : whole).lexically_normal().string();
  if (text.size() > 1 && text.ends_with('/')) text.pop_back();
  return text;
}

std::string resolvedPath(const std::string& path) {
  std::error_code error;
  const auto real = fs::weakly_canonical(path, error);
  return error ? path : real.string();
}

bool isWithin(const std::string& path, const std::string& folder) {
  return path == folder || path.starts_with(folder + "/");
}

}  // namespace settings
