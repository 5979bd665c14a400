#pragma once

#include <QString>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "platform/Graphics.h"

namespace platform::qt {

// Pictures by Qt: the program's own from a folder of PNG files, the desktop's from its icon theme.
// Where the theme has none, the program's own take its place: "generic-file", "generic-folder",
// that of RAM disks for volumes, and "hfs-" with a four-character code.
class QtGraphics : public Graphics {
 public:
  // The icon in the desktop entry of an application: a name in the theme or an absolute path.
  using IconNameOfApplication = std::function<std::optional<std::string>(const std::string& path)>;

  explicit QtGraphics(std::string imagesFolder, IconNameOfApplication iconNameOfApplication = {});

  ImagePtr imageNamed(std::string_view name) const override;
  ImagePtr makeImage(Size size, const Drawing& drawing) const override;
  ImagePtr resized(const ImagePtr& image, Size size) const override;
  ImagePtr iconForFile(const std::string& path) const override;
  ImagePtr iconForApplication(const std::string& path, std::string_view otherwise) const override;
  ImagePtr iconForFileType(std::string_view type) const override;
  ImagePtr iconForHFSType(std::string_view code) const override;

 private:
  using Make = std::function<ImagePtr()>;

  std::optional<std::string> iconNameOf(const std::string& path) const;
  ImagePtr kept(const std::string& key, const Make& make) const;
  ImagePtr themeIcon(const QStringList& names, const QString& type,
                     const std::string& otherwise) const;
  ImagePtr ownOrSheet(const std::string& name) const;
  ImagePtr iconForFolder(const std::string& path) const;

  const std::string imagesFolder_;
  const IconNameOfApplication iconNameOfApplication_;
  mutable std::recursive_mutex mutex_;
  mutable std::map<std::string, ImagePtr> kept_;  // guarded by mutex_
};

}  // namespace platform::qt
