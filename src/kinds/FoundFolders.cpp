#include "kinds/FoundFolders.h"

#include <algorithm>
#include <string_view>

#include "core/QVError.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"

namespace kinds {
namespace {

// Ends the name under which a directory waits while a RAM disk is mounted in its place.
constexpr std::string_view kSetAside = " (Tarnvale Backup Base)";

std::optional<std::string> search(const std::string& directory, const std::string& prefix) {
  const auto& files = platform::services().files;
  const auto names = files->names(directory);
  if (!names) {
    QVLogError("QVRamDiskManager", "dirContent==nil error:{}", QVDescription(names.error()));
    return std::nullopt;
  }
  const auto found = std::find_if(names->begin(), names->end(), [&](const std::string& name) {
    return name.starts_with(prefix) && !name.ends_with(kSetAside) &&
           files->kind(extensions::appendingPathComponent(directory, name)) ==
               platform::FileKind::Directory;
  });
  return found == names->end() ? std::nullopt : std::optional(*found);
}

}  // namespace

std::optional<std::string> FoundFolders::find(const std::string& directory,
                                              const std::string& prefix) {
  const std::pair key(directory, prefix);
  if (auto name = known(key)) return name;
  auto name = search(directory, prefix);
  const std::lock_guard lock(mutex_);
  if (name) names_[key] = *name;
  return name;
}

void FoundFolders::forget() {
  const std::lock_guard lock(mutex_);
  names_.clear();
}

std::optional<std::string> FoundFolders::known(
    const std::pair<std::string, std::string>& key) const {
  const std::lock_guard lock(mutex_);
  const auto found = names_.find(key);
  return found == names_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace kinds
