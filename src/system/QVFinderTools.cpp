#include "system/QVFinderTools.h"

#include "system/HiddenNames.h"

namespace {

// No file can have an empty name nor one that a C string cannot carry.
bool isRepresentable(const std::optional<std::string>& name) {
  return name && !name->empty() && name->find('\0') == std::string::npos;
}

}  // namespace

bool QVFinderTools::isSystemFileNameInFolder(const std::optional<std::string>& name,
                                             std::int64_t mode) {
  return isRepresentable(name) && QVIsFilenameHiddenExcluded(name->c_str(), name->size(), mode);
}

bool QVFinderTools::isVolumeHiddenFilename(const std::optional<std::string>& name) {
  return isRepresentable(name) && QVIsVolumeHiddenFilename(name->c_str(), name->size());
}

bool QVFinderTools::isVolumeSystemHiddenFilename(const std::optional<std::string>& name,
                                                 std::int64_t mode) {
  return isRepresentable(name) && QVIsVolumeSystemHiddenFilename(name->c_str(), name->size(), mode);
}
