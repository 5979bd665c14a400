#include "system/DiskPlaces.h"

#include <algorithm>

#include "extensions/PathExtension.h"
#include "platform/Services.h"

namespace disk_places {
namespace {

using extensions::appendingPathComponent;
using extensions::appendingPathExtension;

constexpr std::string_view kSavedBaseSuffix = " (Tarnvale Backup Base)";

constexpr std::size_t kLongestName = 255;  // bytes, of all file systems that people keep files on

bool isInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

std::string rescueAddition(int number) {
  return number == 1 ? " rescued" : " rescued " + std::to_string(number);
}

std::string named(const std::string& parent, const std::string& identifier,
                  std::string_view extension) {
  return appendingPathComponent(parent, appendingPathExtension(identifier, extension));
}

}  // namespace

std::string mountPath(const std::optional<std::string>& directory,
                      const std::optional<std::string>& name) {
  return appendingPathComponent(
      directory ? *directory : platform::services().places->volumesDirectory(), name.value_or(""));
}

std::string savedBase(const std::string& directory, const std::string& name) {
  return appendingPathComponent(directory, name + std::string(kSavedBaseSuffix));
}

bool isSavedBase(std::string_view path) { return path.ends_with(kSavedBaseSuffix); }

std::string previousOf(const std::string& folder, std::string_view extension) {
  return appendingPathExtension(folder, extension);
}

std::string incompleteMarkOf(const std::string& folder) {
  return appendingPathExtension(folder, "incomplete");
}

std::string partialOf(const std::string& folder) {
  return appendingPathExtension(folder, "partial");
}

std::string rescued(const std::string& path, int number) {
  const std::string addition = rescueAddition(number);
  const auto name = path.rfind('/') + 1;
  const std::size_t most = kLongestName - std::min(kLongestName, addition.size());
  if (path.size() - name <= most) return path + addition;
  std::size_t end = name + most;
  while (end > name + 1 && isInsideCharacter(path[end])) --end;
  return path.substr(0, end) + addition;
}

std::string longestNameBeside(const std::string& name) {
  constexpr int kManyRescued = 99;
  return previousOf(name + std::string(kSavedBaseSuffix)) + rescueAddition(kManyRescued);
}

std::string backupFolder(const std::string& parent, const std::string& identifier) {
  return named(parent, identifier, "TarnvaleBackup");
}

std::string deviceNote(const std::string& support, const std::string& identifier) {
  return named(support, identifier, "TarnvaleDevice");
}

std::string lookPlace(const std::string& support, const std::string& identifier) {
  return named(support, identifier, "TarnvaleVolume");
}

std::string lockFolder(const std::string& support) {
  return appendingPathComponent(support, "Locks");
}

std::string lockFile(const std::string& support, const std::string& identifier) {
  return appendingPathComponent(lockFolder(support), identifier);
}

}  // namespace disk_places
