#pragma once

#include <string>

namespace platform {

// What the desktop shows of files. Any thread.
class Workspace {
 public:
  virtual ~Workspace() = default;

  // Loads an icon file (an "icns" container) and shows it as the icon of `path`. false when the
  // file holds no picture or the desktop cannot show it.
  virtual bool setIconFromFile(const std::string& iconFile, const std::string& path) = 0;
};

}  // namespace platform
