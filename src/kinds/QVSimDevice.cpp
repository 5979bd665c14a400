#include "kinds/QVSimDevice.h"

#include <algorithm>
#include <utility>

#include "core/QVLog.h"
#include "extensions/PathExtension.h"
#include "extensions/PropertyList.h"
#include "extensions/Text.h"
#include "platform/Services.h"
#include "system/Kept.h"
#include "system/QVDirectoryStatistics.h"
#include "system/QVFunctions.h"

namespace {

using Text = QVSimDevice::Text;
using Fields = QVSimDevice::Fields;
using extensions::PropertyList;

constexpr std::string_view kDevices = "Library/Developer/CoreSimulator/Devices";
constexpr std::string_view kTypePrefix = "com.apple.CoreSimulator.SimDeviceType.";
constexpr std::string_view kRuntimePrefix = "com.apple.CoreSimulator.SimRuntime.iOS-";

bool isOneName(const std::string& dirId) {
  return !dirId.empty() && dirId.front() != '.' && dirId.find('/') == std::string::npos &&
         dirId.find('\0') == std::string::npos;
}

// nullopt for what is no dictionary either.
std::optional<PropertyList> dictionaryAt(const std::string& path) {
  const auto bytes = platform::services().files->contents(path);
  if (!bytes) return std::nullopt;
  auto list = extensions::parsePropertyList(*bytes);
  if (!list || list->dictionary() == nullptr) return std::nullopt;
  return *std::move(list);
}

Text textOf(const PropertyList& list, std::string_view key) {
  const PropertyList* value = list.find(key);
  if (value == nullptr || value->string() == nullptr) return std::nullopt;
  return *value->string();
}

Text withoutPrefix(const Text& text, std::string_view prefix) {
  if (!text || !text->starts_with(prefix)) return std::nullopt;
  return text->substr(prefix.size());
}

Fields fieldsFrom(const PropertyList& list) {
  return {.type = withoutPrefix(textOf(list, "deviceType"), kTypePrefix),
          .name = textOf(list, "name"),
          .version = withoutPrefix(textOf(list, "runtime"), kRuntimePrefix)};
}

std::int64_t stateOf(const std::string& folder) {
  const auto library = extensions::appendingPathComponent(folder, "data/Library");
  return DirectoryContainsAtLeastFile(library.c_str()) == 1 ? QVSimDevice::kHasBeenUsed : 0;
}

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

QVSimDevice::QVSimDevice(Fields fields)
    : type_(std::move(fields.type)),
      dirId_(std::move(fields.dirId)),
      name_(std::move(fields.name)),
      version_(std::move(fields.version)),
      plistModDate_(fields.plistModDate),
      state_(fields.state) {}

Text QVSimDevice::devicesDirPath() {
  static Kept<Text> dirPath;
  const auto& places = platform::services().places;
  return dirPath.get(places, [&]() -> Text {
    const auto home = places->home();
    if (!home) return std::nullopt;
    return extensions::appendingPathComponent(*home, kDevices);
  });
}

bool QVSimDevice::canSimDeviceWithDirId(const Text& dirId) {
  const auto devices = devicesDirPath();
  if (!dirId || !devices || !isOneName(*dirId)) return false;
  const auto folder = extensions::appendingPathComponent(*devices, *dirId);
  return platform::services().files->kind(folder) == platform::FileKind::Directory;
}

std::shared_ptr<const QVSimDevice> QVSimDevice::simDeviceWithDirId(const Text& dirId) {
  if (canSimDeviceWithDirId(dirId)) return read(*dirId).device;
  QVLogError("QVSimDevice", "canSimDeviceWithDirId==NO dirId:{}", QVText(dirId));
  return nullptr;
}

QVSimDevice::Reading QVSimDevice::read(const std::string& dirId) {
  const auto folder = extensions::appendingPathComponent(devicesDirPath().value_or(""), dirId);
  const auto plistPath = extensions::appendingPathComponent(folder, "device.plist");
  const auto list = dictionaryAt(plistPath);
  if (!list) {
    QVLogError("QVSimDevice", "plist==nil plistPath:{}", plistPath);
    return {};
  }
  Fields fields = fieldsFrom(*list);
  QVFunctions::getModDate1970(&fields.plistModDate, plistPath);
  if (!fields.version) return {.isOther = textOf(*list, "runtime").has_value()};
  if (!fields.type || !fields.name) return {};
  fields.dirId = dirId;
  fields.state = stateOf(folder);
  return {.device = std::make_shared<const QVSimDevice>(std::move(fields))};
}

Text QVSimDevice::displayName() const {
  if (name_ && version_) return fmt::format("{} ({})", *name_, *version_);
  return name_ ? name_ : dirId_;
}

std::string QVSimDevice::description() const {
  return fmt::format("<{} {} type:{} dirId:{} name:{}>", "QVSimDevice", fmt::ptr(this),
                     QVText(type_), QVText(dirId_), QVText(name_));
}

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
