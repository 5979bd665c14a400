#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVFunctions.h"

namespace {

using OptionalPath = std::optional<std::string>;

std::string below(const std::string& directory, std::string_view name) {
  return extensions::appendingPathComponent(directory, name);
}

std::string ownFolderIn(const std::string& directory) {
  return below(directory, platform::services().bundle->identifier());
}

OptionalPath makeSupportDirectory() {
  const auto all = platform::services().places->applicationSupportDirectories();
  OptionalPath path = all.size() == 1 ? OptionalPath(ownFolderIn(all.front())) : std::nullopt;
  if (!QVFunctions::checkDirectoryAtPath(path, true)) {
    QVLogCriticalException("QVFunctions", "checkDirectoryAtPath==NO supportDir:{}", QVText(path));
  }
  return path;
}

OptionalPath makeCachesDirectory() {
  const auto all = platform::services().places->cachesDirectories();
  if (all.empty()) {
    QVLogCriticalException("QVFunctions", "cachesDir==nil");
    return std::nullopt;
  }
  OptionalPath path = below(ownFolderIn(all.back()), "qvfunctions-caches");
  if (!QVFunctions::checkDirectoryAtPath(path, true)) {
    QVLogCriticalException("QVFunctions", "checkDirectoryAtPath==NO cachesDir:{}", QVText(path));
  }
  return path;
}

// Handed out although it could not be made: what uses it then fails on its own terms.
OptionalPath ensured(const OptionalPath& directory, const OptionalPath& subdirectory) {
  if (!subdirectory) return directory;
  OptionalPath path = directory ? OptionalPath(below(*directory, *subdirectory)) : std::nullopt;
  if (!QVFunctions::checkDirectoryAtPath(path, true)) {
    QVLogCriticalException("QVFunctions", "checkDirectoryAtPath==NO dirPath:{}", QVText(path));
  }
  return path;
}

}  // namespace

OptionalPath QVFunctions::appSupportPath(const OptionalPath& subdirectory) {
  static Kept<OptionalPath> kept;
  return ensured(kept.get(platform::services().places, makeSupportDirectory), subdirectory);
}

OptionalPath QVFunctions::cachesDirPath(const OptionalPath& subdirectory) {
  static Kept<OptionalPath> kept;
  return ensured(kept.get(platform::services().places, makeCachesDirectory), subdirectory);
}
