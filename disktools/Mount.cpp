#include <cerrno>
#include <ostream>

#include "disktools/Media.h"
#include "disktools/Mounting.h"
#include "disktools/Target.h"
#include "disktools/Verbs.h"

namespace disktools {

namespace {

// The caller's device that is mounted there.
Result<Device> deviceAt(const State& state, const Caller& caller, const MountPoint& point) {
  auto devices = liveDevices(state);
  if (!devices) return devices.problem();
  for (Device& device : *devices) {
    if (device.home.device != point.entry.device) continue;
    if (caller.mayUse(device.record.uid)) return std::move(device);
    return Problem{point.entry.path + " belongs to another user", EPERM, {}};
  }
  return Problem{"no device is mounted at " + point.entry.path, EINVAL,
                 "hdiutil info lists your devices"};
}

}  // namespace

Failure mountDevice(const Request& request) {
  const Arguments& arguments = request.arguments;
  if (const std::string type = arguments.value("-t"); type != "hfs")
    return Problem{"unknown file system type " + type, EINVAL, "hfs is the only one"};
  auto attributes = mountAttributes(arguments.values("-o"));
  if (!attributes) return attributes.problem();
  auto state = State::open();
  if (!state) return state.problem();
  auto device = findDevice(*state, request.caller, arguments.operands[0]);
  if (!device) return device.problem();
  if (auto failure = refuseUnlessIdle(*device)) return failure;
  auto directory = pinDirectory(request.caller, arguments.operands[1]);
  if (!directory) return directory.problem();
  return showVolume(*device, *directory, *attributes);
}

Failure changeMount(const Request& request) {
  const std::string& node = request.arguments.operands[0];
  const std::string& path = request.arguments.operands[1];
  const auto wishes = request.arguments.values("-o");
  const bool writable = wishes.back() == "rw";
  if (wishes.size() != 1 || (!writable && wishes.back() != "rdonly"))
    return Problem{"-o is either rdonly or rw", EINVAL, {}};
  auto state = State::open();
  if (!state) return state.problem();
  auto device = findDevice(*state, request.caller, node);
  if (!device) return device.problem();
  auto point = pinMountPoint(request.caller, path);
  if (!point) return point.problem();
  if (device->home.device != point->entry.device)
    return Problem{node + " is not mounted at " + path, EINVAL, "hdiutil info lists your devices"};
  return setWritable(*point, writable);
}

Failure unmountDevice(const Request& request) {
  auto state = State::open();
  if (!state) return state.problem();
  auto point = pinMountPoint(request.caller, request.arguments.operands[0]);
  if (!point) return point.problem();
  auto device = deviceAt(*state, request.caller, *point);
  if (!device) return device.problem();
  if (auto failure = unmount(*point, request.arguments.has("-f"))) return failure;
  if (device->record.mediaDirectory == point->entry.path)
    removeMediaPlace(device->record.mediaDirectory);
  return std::nullopt;
}

// Nothing indexes volumes here by itself, so every wish about it is fulfilled; but only for a
// volume that is the caller's to make wishes about.
Failure index(const Request& request) {
  const std::string indexing = request.arguments.value("-i");
  if (request.arguments.has("-i") && indexing != "on" && indexing != "off")
    return Problem{"-i is on or off, not " + indexing, EINVAL, {}};
  auto state = State::open();
  if (!state) return state.problem();
  auto point = pinMountPoint(request.caller, request.arguments.operands[0]);
  if (!point) return point.problem();
  auto device = deviceAt(*state, request.caller, *point);
  if (!device) return device.problem();
  request.out << point->entry.path << ": no index is kept for this volume\n";
  return std::nullopt;
}

}  // namespace disktools
