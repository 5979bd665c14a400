#include "menu/FileIcons.h"

#include "platform/Services.h"

namespace menu {
namespace {

using platform::FileKind;
using platform::ImagePtr;
using platform::services;

constexpr double kPoints = 16;

// Empty for a name that has none; what a name begins with is no extension.
std::string extensionOf(const std::string& path) {
  const auto name = path.rfind('/') + 1;
  const auto dot = path.rfind('.');
  return dot == std::string::npos || dot <= name ? "" : path.substr(dot + 1);
}

}  // namespace

ImagePtr FileIcons::icon(const std::string& path, FileKind kind) {
  const std::string extension = kind == FileKind::Other ? extensionOf(path) : "";
  if (extension.empty()) return small(services().graphics->iconForFile(path));
  const auto known = byExtension_.find(extension);
  if (known != byExtension_.end()) return known->second;
  return byExtension_[extension] = small(services().graphics->iconForFile(path));
}

ImagePtr FileIcons::small(const ImagePtr& image) {
  const auto known = small_.find(image);
  if (known != small_.end()) return known->second;
  return small_[image] = services().graphics->resized(image, {kPoints, kPoints});
}

void FileIcons::forget() {
  byExtension_.clear();
  small_.clear();
}

}  // namespace menu
