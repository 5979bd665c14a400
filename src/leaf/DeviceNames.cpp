#include "leaf/DeviceNames.h"

#include <algorithm>

namespace {

constexpr std::string_view kBackingName = "tarnvale-disk";
constexpr std::string_view kMemoryFile = "/memfd:";
constexpr std::string_view kNameless = " (deleted)";

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool liesInDeviceFolder(std::string_view path) {
  const std::string_view folder = kDeviceFolder;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

std::string backingFileName(unsigned number) {
  return std::string(kBackingName) + std::to_string(number);
}

std::optional<std::string> nodeOfBackingFile(std::string_view shown) {
  const std::string before = std::string(kMemoryFile) + std::string(kBackingName);
  if (!shown.starts_with(before)) return std::nullopt;
  shown.remove_prefix(before.size());
  const std::string_view digits = shown.substr(0, shown.find(' '));
  const bool isNumber = !digits.empty() && std::all_of(digits.begin(), digits.end(), isDigit);
  if (!isNumber || !shown.substr(digits.size()).starts_with(kNameless)) return std::nullopt;
  return "/dev/disk" + std::string(digits);
}
