#include "platform/qt/drawing/QtGraphics.h"

#include <sys/stat.h>

#include <array>
#include <utility>

#include "platform/Services.h"
#include "platform/qt/QtText.h"
#include "platform/qt/drawing/QtImage.h"

namespace platform::qt {
namespace {

// A folder may hold files of any number of made-up extensions.
constexpr std::size_t kMostIconsKept = 512;

struct NamedIcon {
  std::string_view name;
  const char* inTheme;
};

constexpr std::array<NamedIcon, 8> kSystemImages = {{{"NSCaution", "dialog-warning"},
                                                     {"NSInfo", "dialog-information"},
                                                     {"NSFolder", "folder"},
                                                     {"NSComputer", "computer"},
                                                     {"NSNetwork", "network-workgroup"},
                                                     {"NSTrashEmpty", "user-trash"},
                                                     {"NSTrashFull", "user-trash-full"},
                                                     {"NSRefreshTemplate", "view-refresh"}}};

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

// The whole image, scaled to the rectangle.
void drawWhole(Canvas& canvas, const ImagePtr& image, Rect to) {
  const Size size = image->size();
  canvas.draw(image, to, {0, 0, size.width, size.height}, Compositing::SourceOver, 1);
}

// A sheet of paper, for anything that has no picture of its own.
void drawSheet(Canvas& canvas) {
  Path sheet;
  sheet.moveTo({6, 2});
  for (const Point corner : {Point{6, 30}, Point{19, 30}, Point{26, 23}, Point{26, 2}})
    sheet.lineTo(corner);
  sheet.close();
  Path fold;
  fold.moveTo({19, 30});
  fold.lineTo({19, 23});
  fold.lineTo({26, 23});
  canvas.fill(sheet, Colour::white(0.97));
  canvas.stroke(sheet, Colour::white(0.45));
  canvas.stroke(fold, Colour::white(0.45));
}

}  // namespace

QtGraphics::QtGraphics(std::string imagesFolder, IconNameOfApplication iconNameOfApplication)
    : imagesFolder_(std::move(imagesFolder)),
      iconNameOfApplication_(std::move(iconNameOfApplication)) {}

// Making one may ask for another.
ImagePtr QtGraphics::kept(const std::string& key, const Make& make) const {
  const std::lock_guard lock(mutex_);
  const auto found = kept_.find(key);
  if (found != kept_.end()) return found->second;
  ImagePtr image = make();
  if (kept_.size() >= kMostIconsKept) kept_.clear();
  if (image) kept_.emplace(key, image);
  return image;
}

ImagePtr QtGraphics::imageNamed(std::string_view name) const {
  if (name.empty() || name.find('/') != std::string_view::npos) return nullptr;
  return kept("named " + std::string(name), [&]() -> ImagePtr {
    for (const auto& [system, inTheme] : kSystemImages)
      if (system == name) return themeIcon({inTheme}, {}, "generic-file");
    return imageFromFiles(imagesFolder_, name);
  });
}

ImagePtr QtGraphics::makeImage(Size size, const Drawing& drawing) const {
  return drawnImage(size, drawing);
}

ImagePtr QtGraphics::resized(const ImagePtr& image, Size size) const {
  if (!image) return nullptr;
  if (auto same = sameInSize(image, size)) return same;
  return makeImage(size, [image, size](Canvas& canvas) {
    drawWhole(canvas, image, {0, 0, size.width, size.height});
  });
}

ImagePtr QtGraphics::ownOrSheet(const std::string& name) const {
  const ImagePtr own = imageNamed(name);
  return own ? own : makeImage({kThemeIconSize, kThemeIconSize}, drawSheet);
}

ImagePtr QtGraphics::themeIcon(const QStringList& names, const QString& type,
                               const std::string& otherwise) const {
  return themeImage({names, type, ownOrSheet(otherwise)});
}

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
  if (auto own = imageInContainer(path + "/.VolumeIcon.icns")) return own;
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
    const ImagePtr emblem = themeImage({{"emblem-symbolic-link"}, {}, {}});
    return makeImage({kThemeIconSize, kThemeIconSize}, [emblem](Canvas& canvas) {
      drawWhole(canvas, emblem, {0, 0, kThemeIconSize / 2, kThemeIconSize / 2});
    });
  }
  const QStringList names = hfsIconNames(code);
  return names.empty() ? nullptr : kept(own, [&] { return themeIcon(names, {}, own); });
}

}  // namespace platform::qt
