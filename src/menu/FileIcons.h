#pragma once

#include <map>
#include <string>
#include <unordered_map>

#include "platform/Canvas.h"
#include "platform/Files.h"

namespace menu {

// The icons of files in a menu. Files with one extension look alike, so that a folder of thousands
// asks for few; folders, which may have an icon of their own, and names without an extension are
// asked for one by one. Main thread only.
class FileIcons {
 public:
  // 16 points. `kind` is what is at the path.
  platform::ImagePtr icon(const std::string& path, platform::FileKind kind);

  // What the desktop shows may have changed.
  void forget();

 private:
  platform::ImagePtr small(const platform::ImagePtr& image);

  std::unordered_map<std::string, platform::ImagePtr> byExtension_;
  std::map<platform::ImagePtr, platform::ImagePtr> small_;  // by the picture in its own size
};

}  // namespace menu
