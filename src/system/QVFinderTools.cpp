#include "system/QVFinderTools.h"

#include "core/QVError.h"
#include "core/QVLog.h"
#include "extensions/FileUrl.h"
#include "platform/Services.h"
#include "system/HiddenNames.h"

namespace {

// No file can have an empty name nor one that a C string cannot carry.
bool isRepresentable(const std::optional<std::string>& name) {
  return name && !name->empty() && name->find('\0') == std::string::npos;
}

}  // namespace

bool QVFinderTools::isSystemFileNameInFolder(const Text& name, std::int64_t mode) {
  return isRepresentable(name) && QVIsFilenameHiddenExcluded(name->c_str(), name->size(), mode);
}

bool QVFinderTools::isVolumeHiddenFilename(const Text& name) {
  return isRepresentable(name) && QVIsVolumeHiddenFilename(name->c_str(), name->size());
}

bool QVFinderTools::isVolumeSystemHiddenFilename(const Text& name, std::int64_t mode) {
  return isRepresentable(name) && QVIsVolumeSystemHiddenFilename(name->c_str(), name->size(), mode);
}

bool QVFinderTools::displayFinderGetInfoOfPath(const Text& path) {
  const auto& services = platform::services();
  if (!path || services.files->kind(*path) == platform::FileKind::Missing) return false;
  const auto error = services.workspace->showInformation(*path);
  if (!error) return true;
  QVLogError("QVFinderTools", "aed==nil errorInfo:{}", QVDescription(*error));
  return false;
}

bool QVFinderTools::isFinderFolderAtFileURL(const Text& url) {
  const auto path = url ? extensions::pathOfFileUrl(*url) : std::nullopt;
  const auto& workspace = platform::services().workspace;
  return path && (workspace->isDirectory(*path) || workspace->isVolume(*path));
}
