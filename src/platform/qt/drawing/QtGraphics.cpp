#include "platform/qt/drawing/QtGraphics.h"

#include <array>
#include <utility>

#include "platform/qt/drawing/ThemeImage.h"

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
    return FileImage::load(imagesFolder_, name);
  });
}

ImagePtr QtGraphics::makeImage(Size size, const Drawing& drawing) const {
  return std::make_shared<DrawnImage>(size, drawing);
}

ImagePtr QtGraphics::resized(const ImagePtr& image, Size size) const {
  if (!image) return nullptr;
  if (auto same = ResizedImage::of(image, size)) return same;
  return makeImage(size, [image, size](Canvas& canvas) {
    drawWhole(canvas, image, {0, 0, size.width, size.height});
  });
}

ImagePtr QtGraphics::ownOrSheet(const std::string& name) const {
  const ImagePtr own = imageNamed(name);
  return own ? own : makeImage({ThemeImage::kSize, ThemeImage::kSize}, drawSheet);
}

ImagePtr QtGraphics::themeIcon(const QStringList& names, const QString& type,
                               const std::string& otherwise) const {
  return std::make_shared<ThemeImage>(ThemeImage::Choice{names, type, ownOrSheet(otherwise)});
}

}  // namespace platform::qt
