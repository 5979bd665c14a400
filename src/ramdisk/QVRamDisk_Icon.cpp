#include <algorithm>
#include <array>

#include "core/AtomicProperty.h"
#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "kinds/QVSimDevice.h"
#include "platform/Services.h"
#include "ramdisk/QVRamDisk.h"
#include "system/QVFunctions.h"

namespace {

using platform::Canvas;
using platform::Compositing;
using platform::ImagePtr;

constexpr double kGenericSize = 128;

// Points, of an icon and of the badge in its corner.
struct IconSize {
  double icon;
  double badge;
};
constexpr std::array<IconSize, 3> kSizes = {{{32, 16}, {48, 24}, {128, 32}}};

void drawWhole(Canvas& canvas, const ImagePtr& image, platform::Rect to) {
  const auto size = image->size();
  canvas.draw(image, to, {0, 0, size.width, size.height}, Compositing::SourceOver, 1);
}

// The base with the badge at the bottom right.
ImagePtr badged(const ImagePtr& base, const ImagePtr& badge, IconSize size) {
  return platform::services().graphics->makeImage(
      {size.icon, size.icon}, [base, badge, size](Canvas& canvas) {
        if (base) drawWhole(canvas, base, {0, 0, size.icon, size.icon});
        drawWhole(canvas, badge, {size.icon - size.badge, 0, size.badge, size.badge});
      });
}

}  // namespace

// Kept from one showing to the next; each is whole by itself.
struct QVRamDisk::Shown {
  struct VolumeIcon {
    ImagePtr image;
    double modified = 0;  // of its file, seconds since 1970
  };
  AtomicProperty<std::shared_ptr<const QVSimDevice>> simDevice;
  AtomicProperty<VolumeIcon> volumeIcon;
  std::array<AtomicProperty<ImagePtr>, kSizes.size()> displayIcons;
};

std::shared_ptr<QVRamDisk::Shown> QVRamDisk::makeShown() { return std::make_shared<Shown>(); }

void QVRamDisk::forgetWhatIsShown() {
  shown_->simDevice.set(nullptr);
  for (auto& slot : shown_->displayIcons) slot.set(nullptr);
}

QVRamDisk::Text QVRamDisk::simulatorName() const {
  const Text id = simId();
  auto device = shown_->simDevice.get();
  if (!device || device->dirId() != id) {
    device = QVSimDevice::simDeviceWithDirId(id);
    shown_->simDevice.set(device);
  }
  return device ? device->displayName() : id;
}

// What the workspace shows is asked for again when the icon's file changed.
ImagePtr QVRamDisk::volumeIcon(const std::string& path) const {
  const auto& graphics = *platform::services().graphics;
  const std::string file = extensions::appendingPathComponent(path, ".VolumeIcon.icns");
  if (!platform::services().files->exists(file))
    return platform::services().files->exists(path) ? graphics.iconForFile(path) : nullptr;
  double modified = 0;
  if (!QVFunctions::getModDate1970(&modified, file))
    QVLogError("QVRamDisk", "getModDate1970==NO volIconPath:{}", file);
  const Shown::VolumeIcon kept = shown_->volumeIcon.get();
  if (modified != 0 && modified == kept.modified) return kept.image;
  const Shown::VolumeIcon now{graphics.iconForFile(path), modified};
  shown_->volumeIcon.set(now);
  return now.image;
}

ImagePtr QVRamDisk::baseIcon() const {
  const auto seen = observed();
  if (seen.status == QVRamDiskStatus_mounted && seen.path && seen.action == QVRamDiskActionNone)
    if (ImagePtr icon = volumeIcon(*seen.path)) return icon;
  return QVRamDiskManager::ramDiskIcon(kGenericSize);
}

// A slot holds what was drawn or copied for it, so that hardly anything but a call's own icon is
// ever found to be up to date.
ImagePtr QVRamDisk::displayIcon(double size) const {
  const ImagePtr base = baseIcon();
  const auto found = std::find_if(kSizes.begin(), kSizes.end(),
                                  [&](const IconSize& known) { return known.icon == size; });
  if (found == kSizes.end()) {
    QVLogCriticalException("QVRamDisk", "sizeIdx==-1");
    return nullptr;
  }
  auto& slot = shown_->displayIcons[static_cast<std::size_t>(found - kSizes.begin())];
  ImagePtr kept = slot.get();
  if (kept && (kept == base || kept == QVRamDiskManager::ramDiskIcon(kGenericSize))) return kept;
  const ImagePtr badge = QVRamDiskManager::specificIconFromType(type(), kGenericSize);
  ImagePtr icon = badge ? badged(base, badge, *found)
                        : platform::services().graphics->resized(base, {found->icon, found->icon});
  slot.set(icon);
  return icon;
}
