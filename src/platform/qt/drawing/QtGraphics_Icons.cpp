#include <sys/stat.h>

#include "platform/Services.h"
#include "platform/qt/QtText.h"
#include "platform/qt/drawing/IconContainer.h"
#include "platform/qt/drawing/QtGraphics.h"
#include "platform/qt/drawing/ThemeImage.h"

namespace platform::qt {
namespace {

QStringList hfsIconNames(std::string_view code) {
  if (code == "rmov") return {"drive-removable-media", "media-removable"};
  if (code == "ejec") return {"media-eject"};
  if (code == "burn")
    return {"tools-media-optical-burn", "media-optical-recordable", "media-optical"};
  if (code == "ftrh") return {"user-trash-full", "user-trash"};
  return {};
}

// In lower case, without the dot; empty for none.
std::string extensionOf(const std::string& path) {
  const auto name = path.rfind('/') + 1;
  const auto dot = path.rfind('.');
  if (dot == std::string::npos || dot <= name) return {};
  std::string extension = path.substr(dot + 1);
  for (char& c : extension)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return extension;
}

}  // namespace

std::optional<std::string> QtGraphics::iconNameOf(const std::string& path) const {
  return iconNameOfApplication_ ? iconNameOfApplication_(path) : std::nullopt;
}

ImagePtr QtGraphics::iconForFile(const std::string& path) const {
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0) return iconForFileType(extensionOf(path));
  if (S_ISDIR(facts.st_mode)) return iconForFolder(path);
  if ((facts.st_mode & S_IXUSR) == 0) return iconForFileType(extensionOf(path));
  if (const auto name = iconNameOf(path))
    return themeIcon({qtText(*name)}, {}, imageNamed(*name) ? *name : "generic-file");
  return kept("executable ." + extensionOf(path), [&] {
    return themeIcon(
        {}, extensionOf(path).empty() ? "application/x-executable" : qtText(extensionOf(path)),
        "generic-file");
  });
}

// A mount over a directory is a volume. No theme has a picture of one in memory.
ImagePtr QtGraphics::iconForFolder(const std::string& path) const {
  if (!services().workspace->isVolume(path))
    return kept("folder", [&] { return themeIcon({"folder"}, {}, "generic-folder"); });
  if (auto own = ContainerImage::load(path + "/.VolumeIcon.icns")) return own;
  return kept("volume", [&] { return ownOrSheet("RamDisk_10.10_128"); });
}

ImagePtr QtGraphics::iconForApplication(const std::string& path, std::string_view otherwise) const {
  const std::string own(imageNamed(otherwise) ? otherwise : "generic-file");
  const auto name = iconNameOf(path);
  if (name) return themeIcon({qtText(*name)}, {}, own);
  return own == otherwise ? imageNamed(own) : iconForFile(path);
}

ImagePtr QtGraphics::iconForFileType(std::string_view type) const {
  const std::string known(type);
  if (known == "inode/directory")
    return kept("folder", [&] { return themeIcon({"folder"}, {}, "generic-folder"); });
  return kept("type " + known, [&] {
    return themeIcon({}, known.empty() ? "application/octet-stream" : qtText(known),
                     "generic-file");
  });
}

// An emblem of the theme fills its picture; as a badge it stands in the corner.
ImagePtr QtGraphics::iconForHFSType(std::string_view code) const {
  const std::string own = "hfs-" + std::string(code);
  if (code == "abdg") {
    if (auto image = imageNamed(own)) return image;
    const auto emblem =
        std::make_shared<ThemeImage>(ThemeImage::Choice{{"emblem-symbolic-link"}, {}, {}});
    return makeImage({ThemeImage::kSize, ThemeImage::kSize}, [emblem](Canvas& canvas) {
      drawWhole(canvas, emblem, {0, 0, ThemeImage::kSize / 2, ThemeImage::kSize / 2});
    });
  }
  const QStringList names = hfsIconNames(code);
  return names.empty() ? nullptr : kept(own, [&] { return themeIcon(names, {}, own); });
}

}  // namespace platform::qt
