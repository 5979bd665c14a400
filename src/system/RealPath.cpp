#include "system/RealPath.h"

#include <filesystem>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;  // as many as systems follow

fs::path followed(const fs::path& path, int links) {
  std::error_code error;
  fs::path real = fs::canonical(path, error);
  if (!error || !path.has_relative_path()) return error ? path : real;
  if (links > 0 && fs::is_symlink(fs::symlink_status(path, error))) {
    const fs::path target = fs::read_symlink(path, error);
    if (!error) return followed(path.parent_path() / target, links - 1);
  }
  return followed(path.parent_path(), links) / path.filename();
}

}  // namespace

std::string realPath(const std::string& path) {
  std::error_code error;
  const fs::path whole = fs::absolute(path, error);
  std::string text = (error ? fs::path(path) : followed(whole, kMostLinks)).lexically_normal();
  if (text.size() > 1 && text.ends_with('/')) text.pop_back();
  return text;
}

bool liesWithin(const std::string& path, const std::string& folder) {
  for (fs::path above = path; !above.empty(); above = above.parent_path()) {
    std::error_code error;
    if (above == folder || fs::equivalent(above, folder, error)) return true;
    if (!above.has_relative_path()) break;
  }
  return false;
}
