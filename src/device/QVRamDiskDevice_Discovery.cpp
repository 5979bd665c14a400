#include "core/QVLocalized.h"
#include "core/QVLog.h"
#include "device/QVRamDiskDevice.h"
#include "extensions/PathExtension.h"
#include "extensions/PropertyList.h"
#include "extensions/StringsFile.h"
#include "platform/Services.h"
#include "system/ExtendedAttributes.h"
#include "system/QVFunctions.h"

namespace {

using extensions::PropertyList;
using platform::services;

constexpr std::string_view kMemoryImage = "ram://";
constexpr char kIdentifierKey[] = "identifier";
constexpr char kDeviceNodeKey[] = "deviceNode";

std::optional<std::string> textAt(const PropertyList& dictionary, std::string_view key) {
  const PropertyList* value = dictionary.find(key);
  const std::string* text = value ? value->string() : nullptr;
  return text ? std::optional(*text) : std::nullopt;
}

// The one entity of a memory-backed image; none for images of files and for partitioned ones.
const PropertyList* singleEntity(const PropertyList& image) {
  const auto path = textAt(image, "image-path");
  if (!path || !path->starts_with(kMemoryImage)) return nullptr;
  const PropertyList* entities = image.find("system-entities");
  const auto* list = entities ? entities->array() : nullptr;
  return list && list->size() == 1 ? &list->front() : nullptr;
}

void addIdentity(QVDeviceListEntry& entry) {
  const auto number = services().volumes->deviceNumber(*entry.mountPoint);
  if (!number) {
    QVLogError("QVRamDiskDevice", "stat==-1 mountPoint:{}", *entry.mountPoint);
    return;
  }
  entry.uuid = services().volumes->volumeIdentifier(*number);
  if (!entry.uuid)
    QVLogWarning("QVRamDiskDevice", "UUIDRef==NULL mountPoint:{}", *entry.mountPoint);
  if (*number != 0) entry.st_dev = *number;
}

std::optional<QVDeviceListEntry> entryOf(const PropertyList& image) {
  const PropertyList* entity = singleEntity(image);
  const auto node = entity ? textAt(*entity, "dev-entry") : std::nullopt;
  if (!node) return std::nullopt;
  return QVDeviceListEntry{*node, textAt(*entity, "mount-point"), {}, {}};
}

std::vector<QVDeviceListEntry> entriesOf(std::string_view output, bool withIdentity) {
  const auto list = extensions::parsePropertyList(output);
  const PropertyList* images = list ? list->find("images") : nullptr;
  const auto* array = images ? images->array() : nullptr;
  std::vector<QVDeviceListEntry> entries;
  if (!array) return entries;
  for (const PropertyList& image : *array) {
    auto entry = entryOf(image);
    if (!entry) continue;
    if (withIdentity && entry->mountPoint) addIdentity(*entry);
    entries.push_back(std::move(*entry));
  }
  return entries;
}

// The first volume of ours that matches, nullopt for none. `failed` says which of the two calls
// gave the error.
enum class Scan { Done, CountFailed, TableFailed };

template <class Match>
Scan scan(Match match, std::optional<platform::Mount>& found, platform::SystemError& error) {
  const auto count = services().volumes->mountCount();
  if (!count) {
    error = count.error();
    return Scan::CountFailed;
  }
  if (*count == 0) return Scan::Done;
  const auto mounts = services().volumes->mounts(*count);
  if (!mounts) {
    error = mounts.error();
    return Scan::TableFailed;
  }
  for (const auto& mount : *mounts) {
    if (!services().places->isVolumeType(mount.type) || !match(mount)) continue;
    found = mount;
    break;
  }
  return Scan::Done;
}

}  // namespace

std::optional<std::vector<QVDeviceListEntry>> QVRamDiskDevice::deviceList(bool withIdentity,
                                                                          QVErrorPtr& error) {
  std::int64_t status = 0;
  Text output;
  Text errors;
  const bool ran = QVFunctions::executeCommand(services().places->tool(platform::Tool::Attacher),
                                               {"info", "-plist"}, status, &output, &errors);
  if (!ran || status != 0) {
    error = QVError::errorWithMessage(QVLocalized("Can execute device list command"),
                                      "executeCommand==NO", QVCauseFromText(errors));
    return std::nullopt;
  }
  return entriesOf(output.value_or(""), withIdentity);
}

QVRamDiskDevice::Text QVRamDiskDevice::deviceNodeFromPath(const Text& path, QVErrorPtr& error) {
  if (!path) {
    error = QVError::errorWithMessage(QVLocalized("Incorrect device path"), "path==nil");
    return std::nullopt;
  }
  std::optional<platform::Mount> found;
  platform::SystemError cause;
  const auto scanned =
      scan([&](const auto& mount) { return mount.mountedOn == *path; }, found, cause);
  if (scanned == Scan::CountFailed) {
    error = QVError::errorWithMessage(QVLocalized("Can not get device node"), "volCount==-1");
    error->addInfo(std::to_string(cause.code), "getfsstat==-1 errno");
  } else if (scanned == Scan::TableFailed) {
    error =
        QVError::errorWithMessage(QVLocalized("Can not get device node"), "getfsstat==-1", cause);
  }
  if (!found) return std::nullopt;
  if (found->mountedFrom.empty()) {
    error = QVError::errorWithMessage(QVLocalized("Can not get device node"), "result==nil");
    return std::nullopt;
  }
  return found->mountedFrom;
}

QVRamDiskDevice::Text QVRamDiskDevice::mountPointFromDeviceNode(const Text& deviceNode,
                                                                QVErrorPtr& error) {
  if (!deviceNode) {
    error = QVError::errorWithMessage(QVLocalized("Incorrect device node"), "deviceNode==nil");
    return std::nullopt;
  }
  std::optional<platform::Mount> found;
  platform::SystemError cause;
  const auto scanned =
      scan([&](const auto& mount) { return mount.mountedFrom == *deviceNode; }, found, cause);
  if (scanned != Scan::Done) {
    const char* reason = scanned == Scan::CountFailed ? "volCount==-1" : "getfsstat==-1";
    error = QVError::errorWithMessage(QVLocalized("Unable to get device list"), reason, cause);
  }
  return found ? std::optional(found->mountedOn) : std::nullopt;
}

std::int64_t QVRamDiskDevice::hasMountedVolumeAtPath(const Text& path) {
  if (!path) return -1;
  const std::string parent = extensions::deletingLastPathComponent(*path);
  if (parent == *path) return -1;
  const auto parentNumber = services().volumes->fileSystemNumber(parent);
  if (!parentNumber)
    QVLogError("QVRamDiskDevice", "devNumber==nil parent:{} error:{}", parent,
               QVDescription(parentNumber.error()));
  const auto number = services().volumes->fileSystemNumber(*path);
  if (!number) {
    QVLogError("QVRamDiskDevice", "devNumber1==nil error:{}", QVDescription(number.error()));
    return -1;
  }
  if (!parentNumber) return -1;
  return *number == *parentNumber ? 0 : 1;
}

bool QVRamDiskDevice::setExtendedRamDiskInfos(const Infos& infos, const Text& path) {
  if (!path || infos.empty()) return false;
  return QVSetExtendedAttribute(extensions::stringsFileText(infos), kRamDiskInfoAttributeName,
                                path);
}

bool QVRamDiskDevice::getExtentedRamDiskInfos(Infos& infos, const Text& path) {
  std::string value;
  if (!path || !QVGetExtentedAttribute(&value, kRamDiskInfoAttributeName, path)) return false;
  auto parsed = value.empty() ? std::nullopt : extensions::parseStringsFile(value);
  if (!parsed || parsed->empty()) return false;
  infos = std::move(*parsed);
  return true;
}

QVRamDiskDevice::Infos QVRamDiskDevice::infosOf(const std::string& deviceNode,
                                                const Text& identifier) {
  Infos infos = {{kDeviceNodeKey, deviceNode}};
  if (identifier) infos[kIdentifierKey] = *identifier;
  return infos;
}

QVRamDiskDevice::Text QVRamDiskDevice::deviceNodeIn(const Infos& infos) {
  const auto node = infos.find(kDeviceNodeKey);
  return node == infos.end() ? std::nullopt : Text(node->second);
}

bool QVRamDiskDevice::belongsTo(const Text& identifier, const Infos& infos) {
  const auto owner = infos.find(kIdentifierKey);
  return identifier && owner != infos.end() && owner->second == *identifier;
}

bool QVRamDiskDevice::isVolumeOf(const Text& identifier, const Text& path) {
  Infos infos;
  return getExtentedRamDiskInfos(infos, path) && belongsTo(identifier, infos);
}
