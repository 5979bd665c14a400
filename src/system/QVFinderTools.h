#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Files as the desktop's file manager sees them. Any thread.
class QVFinderTools {
 public:
  // An absent name, or one that no file can have, is none of these.
  static bool isSystemFileNameInFolder(const std::optional<std::string>& name, std::int64_t mode);
  static bool isVolumeHiddenFilename(const std::optional<std::string>& name);
  static bool isVolumeSystemHiddenFilename(const std::optional<std::string>& name,
                                           std::int64_t mode);
};
