#include "platform/linux/VolumeIdentifier.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "platform/posix/PosixFiles.h"

namespace platform {
namespace {

constexpr std::size_t kLength = 36;

bool isIdentifier(const std::string& text) {
  return text.size() == kLength && std::all_of(text.begin(), text.end(), [](unsigned char c) {
           return std::isxdigit(c) != 0 || c == '-';
         });
}

bool leadsToDevice(const std::filesystem::path& path, std::int32_t number) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISBLK(info.st_mode) &&
         static_cast<std::int32_t>(info.st_rdev) == number;
}

}  // namespace

std::optional<std::string> identifierOfDevice(std::int32_t deviceNumber, const std::string& links) {
  const std::filesystem::path folder(links);
  const auto names = PosixFiles().names(links);
  if (!names) return std::nullopt;
  for (std::string name : *names) {
    if (!isIdentifier(name) || !leadsToDevice(folder / name, deviceNumber)) continue;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return name;
  }
  return std::nullopt;
}

}  // namespace platform
