// newfs_hfs, diskutil, mount, umount, mdutil and purge: what is done with a device's volume.

#include <fcntl.h>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <ostream>

#include "disktools/Commands.h"
#include "disktools/Mounting.h"
#include "disktools/Target.h"
#include "disktools/Volume.h"

namespace disktools {

namespace {

constexpr std::string_view kPlain = "HFS+";
constexpr std::string_view kCaseSensitive = "Case-sensitive HFS+";

constexpr std::size_t kLongestName = 255;  // bytes, what Linux allows a path component

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

Outcome checkVolumeName(std::string_view name) {
  if (name.empty() || name == "." || name == ".." || name.size() > kLongestName ||
      name.find('/') != std::string_view::npos)
    return Problem{"a volume name is one path component of at most 255 bytes", EINVAL, {}};
  if (std::any_of(name.begin(), name.end(), isControl) || validText(name) != name)
    return Problem{"a volume name is valid UTF-8 without control characters", EINVAL, {}};
  return {};
}

// Empties the device under a new name. The device that comes back is the new one.
Result<Device> renewed(const State& state, const Request& request, const std::string& node,
                       const std::string& name, bool caseSensitive) {
  if (auto done = checkVolumeName(name); !done) return done.error();
  auto device = findDevice(state, request.caller, node);
  if (!device) return device.error();
  Record record = device->record;
  record.label = name;
  record.caseSensitive = caseSensitive;
  record.mediaDirectory.clear();
  if (auto done = renewVolume(state, *device, record); !done) return done.error();
  return findDevice(state, request.caller, node);
}

// Told of in the record before it is used, so that whoever unmounts it knows to remove it.
Outcome showInMedia(const State& state, const Request& request, const Device& device) {
  auto place = makeMediaPlace(request.caller, device.record.label);
  if (!place) return place.error();
  Record record = device.record;
  record.mediaDirectory = place->path;
  Outcome done = state.write(record);
  if (done) done = showVolume(device, place->directory, *mountAttributes({}));
  if (!done) removeMediaPlace(place->path);
  if (done) request.out << fmt::format("Finished erase on {} {}\n", record.node(), place->path);
  return done;
}

// The caller's device that is mounted there.
Result<Device> deviceAt(const State& state, const Caller& caller, const MountPoint& point) {
  auto devices = liveDevices(state);
  if (!devices) return devices.error();
  for (Device& device : *devices) {
    if (device.home.device != point.entry.device) continue;
    if (auto may = checkAccess(device, caller, point.entry.path); !may) return may.error();
    return std::move(device);
  }
  return Problem{"no device is mounted at " + point.entry.path, EINVAL,
                 "hdiutil info lists your devices"};
}

}  // namespace

Outcome newFilesystem(const Request& request) {
  auto state = State::open();
  if (!state) return state.error();
  const bool caseSensitive = request.arguments.has("-s");
  auto device = renewed(*state, request, request.arguments.operands[0],
                        request.arguments.value("-v"), caseSensitive);
  if (!device) return device.error();
  request.out << fmt::format("Initialized /dev/r{} as a {} {}HFS Plus volume\n",
                             device->record.name(), sizeText(device->record.bytes()),
                             caseSensitive ? "case-sensitive " : "");
  return {};
}

Outcome eraseVolume(const Request& request) {
  const auto& operands = request.arguments.operands;
  if (operands[0] != kPlain && operands[0] != kCaseSensitive)
    return Problem{"unknown format " + operands[0], EINVAL, {}};
  auto state = State::open();
  if (!state) return state.error();
  auto device = renewed(*state, request, operands[2], operands[1], operands[0] == kCaseSensitive);
  if (!device) return device.error();
  return showInMedia(*state, request, *device);
}

Outcome mountDevice(const Request& request) {
  const Arguments& arguments = request.arguments;
  if (const std::string type = arguments.value("-t"); type != "hfs")
    return Problem{"unknown file system type " + type, EINVAL, "hfs is the only one"};
  auto attributes = mountAttributes(arguments.values("-o"));
  if (!attributes) return attributes.error();
  auto state = State::open();
  if (!state) return state.error();
  auto device = findDevice(*state, request.caller, arguments.operands[0]);
  if (!device) return device.error();
  if (auto done = refuseUnlessIdle(*device); !done) return done;
  auto directory = pinDirectory(request.caller, arguments.operands[1]);
  if (!directory) return directory.error();
  return showVolume(*device, *directory, *attributes);
}

Outcome changeMount(const Request& request) {
  const std::string& node = request.arguments.operands[0];
  const std::string& path = request.arguments.operands[1];
  const auto wishes = request.arguments.values("-o");
  const bool writable = wishes.back() == "rw";
  if (wishes.size() != 1 || (!writable && wishes.back() != "rdonly"))
    return Problem{"-o is either rdonly or rw", EINVAL, {}};
  auto state = State::open();
  if (!state) return state.error();
  auto device = findDevice(*state, request.caller, node);
  if (!device) return device.error();
  auto point = pinMountPoint(request.caller, path);
  if (!point) return point.error();
  if (device->home.device != point->entry.device)
    return Problem{node + " is not mounted at " + path, EINVAL, "hdiutil info lists your devices"};
  return setWritable(*point, writable);
}

Outcome unmountDevice(const Request& request) {
  auto state = State::open();
  if (!state) return state.error();
  auto point = pinMountPoint(request.caller, request.arguments.operands[0]);
  if (!point) return point.error();
  auto device = deviceAt(*state, request.caller, *point);
  if (!device) return device.error();
  if (auto done = unmount(*point, request.arguments.has("-f")); !done) return done;
  if (device->record.mediaDirectory == point->entry.path)
    removeMediaPlace(device->record.mediaDirectory);
  return {};
}

// Nothing indexes volumes here by itself, so every wish about it is fulfilled; but only for a
// volume that is the caller's to make wishes about.
Outcome index(const Request& request) {
  const std::string indexing = request.arguments.value("-i");
  if (request.arguments.has("-i") && indexing != "on" && indexing != "off")
    return Problem{"-i is on or off, not " + indexing, EINVAL, {}};
  auto state = State::open();
  if (!state) return state.error();
  auto point = pinMountPoint(request.caller, request.arguments.operands[0]);
  if (!point) return point.error();
  auto device = deviceAt(*state, request.caller, *point);
  if (!device) return device.error();
  request.out << point->entry.path << ": no index is kept for this volume\n";
  return {};
}

// Slowing the whole machine down is not for everyone. The kernel asks for the effective user here
// and no more, so being set-user-ID would open this to all. 1 asks it to drop the pages of files
// that are already on a disk, see proc(5).
Outcome purge(const Request& request) {
  constexpr const char* failed = "cannot drop caches";
  if (!request.caller.isRoot()) return Problem{failed, EPERM, "only root may"};
  const Descriptor caches(open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC));
  if (caches && write(caches.get(), "1\n", 2) == 2) return {};
  return systemProblem(failed, errno == EACCES ? "only root may" : "");
}

}  // namespace disktools
