#include <functional>
#include <map>
#include <memory>
#include <mutex>

#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVRamDiskFunctions.h"
#include "system/QVRamDiskUtils.h"

namespace {

using platform::ImagePtr;

struct Icons {
  std::mutex mutex;
  std::map<std::string, ImagePtr, std::less<>> byName;
};

std::shared_ptr<Icons> keptIcons() {
  static Kept<std::shared_ptr<Icons>> kept;
  return kept.get(platform::services().graphics, [] { return std::make_shared<Icons>(); });
}

ImagePtr imageNamed(std::string_view name) {
  const auto& graphics = *platform::services().graphics;
  if (name.starts_with("NS") || name == "syncIcon") return graphics.imageNamed(name);
  if (name != "diskUtility") return nullptr;
  const auto path = QVRamDiskUtils::diskUtilityURL();
  return path ? graphics.iconForFile(*path) : nullptr;
}

}  // namespace

ImagePtr QVRamDiskFunctions::icon16Named(std::string_view name) {
  const auto icons = keptIcons();
  const std::lock_guard lock(icons->mutex);
  const auto found = icons->byName.find(name);
  if (found != icons->byName.end()) return found->second;
  ImagePtr icon = platform::services().graphics->resized(imageNamed(name), {16, 16});
  if (icon) icons->byName.emplace(name, icon);
  return icon;
}
