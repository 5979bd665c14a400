#include <map>

#include "extensions/PathExtension.h"
#include "kinds/Presets.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVMacInfo.h"

namespace {

using platform::ImagePtr;
using Path = std::optional<std::string>;

struct RamDiskIcons {
  ImagePtr small;
  ImagePtr large;
};

// By short names. What is not installed has no entry.
using ApplicationIcons = std::map<std::string_view, ImagePtr>;

Kept<RamDiskIcons>& keptRamDiskIcons() {
  static Kept<RamDiskIcons> kept;
  return kept;
}

Kept<ApplicationIcons>& keptApplicationIcons() {
  static Kept<ApplicationIcons> kept;
  return kept;
}

ImagePtr copyOfImageNamed(std::string_view name) {
  const auto& graphics = *platform::services().graphics;
  const ImagePtr image = graphics.imageNamed(name);
  return image ? graphics.resized(image, image->size()) : nullptr;
}

RamDiskIcons loadRamDiskIcons() {
  if (QVMacInfo::isYosemiteOrBetter())
    return {copyOfImageNamed("RamDisk_10.10_16"), copyOfImageNamed("RamDisk_10.10_128")};
  return {copyOfImageNamed("RamDisk_10.6_16"), copyOfImageNamed("RamDisk_10.6_128")};
}

// The simulator inside Xcode, where each generation of it has it.
Path simulatorPath(const Path& xcode) {
  if (!xcode) return std::nullopt;
  for (const char* place :
       {"Contents/Developer/Applications/Simulator.app",
        "Contents/Developer/Applications/iOS Simulator.app",
        "Contents/Developer/Platforms/iPhoneSimulator.platform/Developer/Applications/"
        "iPhone Simulator.app"}) {
    std::string path = extensions::appendingPathComponent(*xcode, place);
    if (platform::services().files->kind(path) != platform::FileKind::Missing) return path;
  }
  return std::nullopt;
}

Path appCodePath() {
  const auto facts = kinds::factsOfType(QVRamDiskType_AppCodeCaches);
  return facts ? kinds::applicationPath(facts->application) : std::nullopt;
}

ApplicationIcons loadApplicationIcons() {
  ApplicationIcons icons;
  const auto add = [&](std::string_view name, const Path& path, std::string_view otherwise) {
    if (!path) return;
    if (auto icon = platform::services().graphics->iconForApplication(*path, otherwise))
      icons.emplace(name, std::move(icon));
  };
  const Path xcode = QVRamDiskManager::favoriteXcodePath();
  add("safari", QVRamDiskManager::favoriteSafariPath(), "kind-safari");
  add("xcode", xcode, "kind-xcode");
  add("2", simulatorPath(xcode), "kind-simulator");
  add("firefox", QVRamDiskManager::favoriteFirefoxAppPath(), "kind-firefox");
  add("appcode", appCodePath(), "kind-appcode");
  add("chrome", QVRamDiskManager::favoriteChromeAppPath(), "kind-chrome");
  add("opera", QVRamDiskManager::favoriteOperaAppPath(), "kind-opera");
  return icons;
}

ImagePtr applicationIcon(std::string_view name) {
  const auto icons =
      keptApplicationIcons().get(platform::services().graphics, loadApplicationIcons);
  const auto found = icons.find(name);
  return found == icons.end() ? nullptr : found->second;
}

ImagePtr simulatorIcon() {
  const ImagePtr icon = applicationIcon("2");
  return icon ? icon : applicationIcon("xcode");
}

}  // namespace

void kinds::forgetIcons() {
  keptRamDiskIcons().forget();
  keptApplicationIcons().forget();
}

ImagePtr QVRamDiskManager::ramDiskIcon(double size) {
  const auto icons = keptRamDiskIcons().get(platform::services().graphics, loadRamDiskIcons);
  return size == 16 ? icons.small : size == 128 ? icons.large : nullptr;
}

ImagePtr QVRamDiskManager::imageOfType(QVRamDiskType type, double size) {
  switch (type) {
    case QVRamDiskType_Safari:
      return applicationIcon("safari");
    case QVRamDiskType_XcodeBuild:
      return applicationIcon("xcode");
    case QVRamDiskType_IOsSimulator:
    case QVRamDiskType_CoreSimulator:
      return simulatorIcon();
    case QVRamDiskType_AppCodeCaches:
      return applicationIcon("appcode");
    case QVRamDiskType_Firefox:
      return applicationIcon("firefox");
    case QVRamDiskType_Chrome:
      return applicationIcon("chrome");
    case QVRamDiskType_Opera:
      return applicationIcon("opera");
    default:
      return ramDiskIcon(size);
  }
}

ImagePtr QVRamDiskManager::specificIconFromType(QVRamDiskType type, double /*size*/) {
  if (type < QVRamDiskType_Safari || type > QVRamDiskType_Opera) return nullptr;
  return imageOfType(type, 128);
}
