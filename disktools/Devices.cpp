#include "disktools/Devices.h"

#include <fmt/format.h>

#include <cerrno>
#include <optional>

#include "leaf/MountTable.h"

namespace disktools {

namespace {

// Where several mounts cover one another at the path, the last one is the visible one.
std::optional<MountEntry> homeOf(const Record& record, const std::vector<MountEntry>& mounts) {
  const std::string path = State::home(record);
  std::optional<MountEntry> home;
  for (const MountEntry& entry : mounts)
    if (entry.path == path) home = entry;
  return home;
}

Device deviceOf(const Record& record, const MountEntry& home,
                const std::vector<MountEntry>& mounts) {
  Device device{record, home, {}};
  for (const MountEntry& entry : mounts)
    if (entry.device == home.device && entry.path != home.path) device.mounts.push_back(entry);
  return device;
}

}  // namespace

Result<std::vector<MountEntry>> readMounts() {
  const std::string table = readMountTable().value_or("");
  std::vector<MountEntry> mounts;
  for (const MountLine& line : parseMountTable(table))
    mounts.push_back({line.identifier, std::string(line.device), withoutMountEscapes(line.root),
                      withoutMountEscapes(line.mountedOn)});
  if (mounts.empty()) return Problem{"cannot read the mount table", 0, "is /proc mounted?"};
  return mounts;
}

Result<std::vector<Device>> liveDevices(const State& state) {
  const auto mounts = readMounts();
  if (!mounts) return mounts.error();
  std::vector<Device> devices;
  for (const unsigned number : state.numbers()) {
    const Record record = state.read(number);
    if (const auto home = homeOf(record, *mounts))
      devices.push_back(deviceOf(record, *home, *mounts));
    else
      state.forget(record);
  }
  return devices;
}

Result<Device> findDevice(const State& state, const Caller& caller, std::string_view node) {
  const auto number = deviceNumber(node);
  if (!number) return Problem{fmt::format("{} is not a device node like /dev/disk4", node), 0, {}};
  auto devices = liveDevices(state);
  if (!devices) return devices.error();
  for (Device& device : *devices) {
    if (device.record.number != *number) continue;
    if (caller.mayUse(device.record.uid)) return std::move(device);
    return Problem{fmt::format("{} belongs to another user", node), EPERM, {}};
  }
  return Problem{fmt::format("there is no {}", node), ENXIO, "hdiutil info lists your devices"};
}

Outcome refuseUnlessIdle(const Device& device) {
  const Record& record = device.record;
  if (record.damaged())
    return Problem{"the record of " + record.node() + " is damaged", 0, "root can detach it"};
  if (device.mounts.empty()) return {};
  return Problem{fmt::format("{} is mounted at {}", record.node(), device.mounts.front().path),
                 EBUSY, "unmount it first"};
}

}  // namespace disktools
