#include "kinds/QVSimDeviceList.h"

#include <algorithm>

#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "extensions/Text.h"
#include "platform/Services.h"

namespace {

using Device = std::shared_ptr<const QVSimDevice>;

// nullptr for what is not listed.
Device listedDevice(const std::string& folder, const std::string& name) {
  const auto reading = QVSimDevice::read(name);
  if (!reading.device) {
    if (!reading.isOther)
      QVLogError("QVSimDeviceList", "device==nil file:{}",
                 extensions::appendingPathComponent(folder, name));
    return nullptr;
  }
  if ((reading.device->state() & QVSimDevice::kHasBeenUsed) != 0) return reading.device;
  QVLogError("QVSimDeviceList", "empty device:{}", reading.device->description());
  return nullptr;
}

// Versions are compared as texts like the rest, so that 10-3 stands before 9-3.
bool standsBefore(const Device& a, const Device& b) {
  using extensions::compareIgnoringCase;
  if (const int order = compareIgnoringCase(*a->type(), *b->type())) return order < 0;
  if (const int order = compareIgnoringCase(*a->version(), *b->version())) return order < 0;
  return compareIgnoringCase(*a->name(), *b->name()) < 0;
}

}  // namespace

QVSimDeviceList& QVSimDeviceList::sharedInstance() {
  static QVSimDeviceList list;
  return list;
}

void QVSimDeviceList::update() {
  auto found = std::make_shared<Devices>();
  const std::string folder = QVSimDevice::devicesDirPath().value_or("");
  const auto names = platform::services().files->names(folder);
  for (const auto& name : names ? *names : std::vector<std::string>()) {
    if (!QVSimDevice::canSimDeviceWithDirId(name)) continue;
    if (auto device = listedDevice(folder, name)) found->push_back(std::move(device));
  }
  std::stable_sort(found->begin(), found->end(), standsBefore);
  devices_.set(std::move(found));
}

std::shared_ptr<const QVSimDeviceList::Devices> QVSimDeviceList::devices() {
  if (!devices_.get()) update();
  return devices_.get();
}

std::shared_ptr<const QVSimDevice> QVSimDeviceList::simDeviceWithDirId(
    const std::optional<std::string>& dirId) {
  const auto all = devices();
  const auto found = std::find_if(all->begin(), all->end(), [&](const Device& device) {
    return dirId && device->dirId() == dirId;
  });
  return found == all->end() ? nullptr : *found;
}
