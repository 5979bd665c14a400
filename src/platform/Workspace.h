#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Result.h"

namespace platform {

// A mark in colour that the user may give a file.
struct FileLabel {
  std::string name;
  std::uint32_t colour = 0;  // 0xRRGGBB

  bool operator==(const FileLabel&) const = default;
};

// The desktop, and what it shows of files. What is not overridden answers as where there is no
// desktop. Paths are absolute. Any thread.
class Workspace {
 public:
  virtual ~Workspace() = default;

  // Loads an icon file (an "icns" container) and shows it as the icon of `path`. false when the
  // file holds no picture or the desktop cannot show it.
  virtual bool setIconFromFile(const std::string& iconFile, const std::string& path) = 0;

  // Opens the item as a double click would.
  virtual bool open(const std::string& /*path*/) { return false; }

  // Starts an application, without waiting for it, bringing it to the front, or listing it among
  // the recent ones. `applicationPath` is as Applications gives it.
  virtual Outcome launch(const std::string& applicationPath,
                         const std::vector<std::string>& /*arguments*/) {
    return SystemError{"POSIX", 0, applicationPath + ": applications cannot be started here"};
  }

  // Opens what the address names. Nothing waits, here and above: whether what was started can make
  // anything of it is between that and the user.
  virtual bool openURL(const std::string& /*url*/) { return false; }

  // Has the file manager show its information window; waits until that has accepted.
  virtual Outcome showInformation(const std::string& path) {
    return SystemError{"POSIX", 0, path + ": there is no file manager"};
  }

  // --- What files look like

  // An item's name as file managers show it. The item need not exist.
  virtual std::string displayName(const std::string& path) const {
    return path.substr(path.rfind('/') + 1);
  }

  // Of the item itself: links are not followed. What cannot be looked at is neither.
  virtual bool isDirectory(const std::string& /*path*/) const { return false; }
  virtual bool isVolume(const std::string& /*path*/) const { return false; }

  // The desktop's labels in its order. The first stands for no label.
  virtual std::vector<FileLabel> fileLabels() const { return {}; }
};

}  // namespace platform
