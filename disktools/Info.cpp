#include <fmt/format.h>

#include <optional>
#include <ostream>

#include "disktools/Devices.h"
#include "disktools/PropertyList.h"
#include "disktools/Verbs.h"

namespace disktools {

namespace {

std::string imagePath(const Record& record) { return fmt::format("ram://{}", record.sectors); }

// The first mount of the whole volume; of a part of it when there is no other.
std::optional<std::string> mountPoint(const Device& device) {
  for (const MountEntry& entry : device.mounts)
    if (entry.root == device.home.root) return entry.path;
  return std::nullopt;
}

void describe(const Device& device, PropertyList& list) {
  list.openDictionary();
  list.key("image-path");
  list.string(imagePath(device.record));
  list.key("system-entities");
  list.openArray();
  list.openDictionary();
  list.key("dev-entry");
  list.string(device.record.node());
  if (const auto path = mountPoint(device)) {
    list.key("mount-point");
    list.string(*path);
  }
  list.closeDictionary();
  list.closeArray();
  list.closeDictionary();
}

std::string propertyList(const std::vector<Device>& devices) {
  PropertyList list;
  list.openDictionary();
  list.key("images");
  list.openArray();
  for (const Device& device : devices) describe(device, list);
  list.closeArray();
  list.closeDictionary();
  return list.document();
}

std::string lines(const std::vector<Device>& devices) {
  std::string all;
  for (const Device& device : devices)
    all += fmt::format("{}\t{}\t{}\n", device.record.node(), imagePath(device.record),
                       mountPoint(device).value_or(""));
  return all;
}

bool mayList(const Request& request, const Record& record) {
  if (!request.caller.mayUse(record.uid)) return false;
  if (!record.damaged()) return true;
  request.err << fmt::format("hdiutil: info: the record of {} is damaged: detach it\n",
                             record.node());
  return false;
}

}  // namespace

Failure info(const Request& request) {
  auto state = State::open();
  if (!state) return state.problem();
  auto devices = liveDevices(*state);
  if (!devices) return devices.problem();
  std::erase_if(*devices, [&](const Device& device) { return !mayList(request, device.record); });
  request.out << (request.arguments.has("-plist") ? propertyList(*devices) : lines(*devices));
  return std::nullopt;
}

}  // namespace disktools
