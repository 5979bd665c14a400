#include "ramdisk/StrayDevice.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "kinds/QVRamDiskManager.h"
#include "platform/Services.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/Rescue.h"
#include "ramdisk/VolumeNotes.h"

namespace {

using platform::services;
using Text = std::optional<std::string>;

constexpr std::string_view kNoteExtension = "TarnvaleDevice";
constexpr std::string_view kPlaceExtension = "TarnvaleVolume";

Text fileOf(const Text& identifier, std::string_view extension) {
  const Text folder = QVRamDiskManager::appSupportPath();
  if (!folder || !identifier) return std::nullopt;
  return extensions::appendingPathComponent(*folder, *identifier + "." + std::string(extension));
}

// A note that was cut off names no device.
Text notedDevice(const Text& identifier) {
  const Text path = fileOf(identifier, kNoteExtension);
  std::ifstream file(path.value_or(""), std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!text.ends_with('\n')) return std::nullopt;
  text.pop_back();
  return text;
}

}  // namespace

// It need not outlive the system, which the device does not either, so it is not flushed.
void noteAttachedDevice(const Text& identifier, const std::string& node) {
  const Text path = fileOf(identifier, kNoteExtension);
  if (path) std::ofstream(*path, std::ios::binary | std::ios::trunc) << node << '\n';
}

void forgetAttachedDevice(const Text& identifier) {
  const Text path = fileOf(identifier, kNoteExtension);
  if (!path || services().files->kind(*path) == platform::FileKind::Missing) return;
  if (const auto done = services().files->remove(*path); !done)
    QVLogWarning("StrayDevice", "the note of a device stays: {}", QVDescription(done.error()));
}

StrayDevice::StrayDevice(const Text& identifier)
    : identifier_(identifier),
      node_(notedDevice(identifier)),
      place_(fileOf(identifier, kPlaceExtension).value_or("")) {}

std::optional<RecoveryFinding> StrayDevice::find() {
  QVErrorPtr error;
  const auto devices = node_ ? QVRamDiskDevice::deviceList(false, error) : std::nullopt;
  if (!devices) return std::nullopt;
  const auto device = std::find_if(devices->begin(), devices->end(),
                                   [&](const auto& each) { return each.devNode == *node_; });
  if (device == devices->end()) return std::nullopt;
  isMounted_ = device->mountPoint == place_;  // a look that was cut off too
  if (device->mountPoint && !isMounted_) return std::nullopt;
  return RecoveryFinding{RecoveryStep::GiveBack, *node_,
                         fmt::format("the device {} was attached by a creation that was cut off "
                                     "and is mounted nowhere; it is given back if it is empty",
                                     *node_)};
}

// The device was there and mounted nowhere before the locks were asked for: an action that has
// attached it runs still and holds its lock, and one that begins now gets another device.
void StrayDevice::giveBack() {
  const auto others = ActionLock::takeAllOthers(identifier_);
  if (!others)
    return QVLogWarning("StrayDevice", "{} is looked at later: an action is running", *node_);
  const bool goes = showVolume() && holdsNothing();
  if (QVRamDiskDevice::hasMountedVolumeAtPath(place_) == 1 && QVRamDiskDevice::unmount(place_))
    return;
  if (services().files->kind(place_) == platform::FileKind::Directory)
    services().files->remove(place_);
  if (!goes) QVLogWarning("StrayDevice", "{} is not known to be empty and stays", *node_);
  if (goes && QVRamDiskDevice::ejectRamDiskDeviceNode(node_, std::nullopt, false)) return;
  forgetAttachedDevice(identifier_);
}

// Mounted for this look, as it is and at a place of its own.
bool StrayDevice::showVolume() const {
  if (!isMounted_ && QVRamDiskDevice::mountAsItIs(*node_, place_)) return false;
  QVErrorPtr error;
  return QVRamDiskDevice::deviceNodeFromPath(place_, error) == node_;
}

// A refill of this disk that was cut off is a copy that is never saved: what it came from is whole.
bool StrayDevice::holdsNothing() const {
  QVRamDiskDevice::Infos infos;
  if (!QVRamDiskDevice::getExtentedRamDiskInfos(infos, place_)) return !holdsUserFiles(place_);
  const auto owner = infos.find("identifier");
  return owner != infos.end() && identifier_ == owner->second && isRefillUnderWay(place_);
}
