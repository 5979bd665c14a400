#pragma once
// The devices that exist now, found in the mount table: a device is its private mount, described by
// its record. What it is mounted at for its user are the other mounts of the same file system,
// wherever they have come from; asking the kernel each time cannot go stale as a note would.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "disktools/Caller.h"
#include "disktools/State.h"

namespace disktools {

// A mount of this process's namespace, with the table's escapes undone.
struct MountEntry {
  std::uint64_t id = 0;
  std::string device;  // "major:minor" of the file system; what every mount of a volume shares
  std::string root;    // the directory of the file system that is mounted, "/" for all of it
  std::string path;
};

// Oldest first; an empty table is a problem.
Result<std::vector<MountEntry>> readMounts();

struct Device {
  Record record;
  MountEntry home;                 // the private mount
  std::vector<MountEntry> mounts;  // where it is mounted for its user, oldest first
};

// Every device, by number. Records and directories whose private mount is gone are cleared away.
Result<std::vector<Device>> liveDevices(const State& state);

// The caller's device with this node. Fails for a node that is none, and for a device of another
// user.
Result<Device> findDevice(const State& state, const Caller& caller, std::string_view node);

// A problem when the device is mounted for its user or its record is damaged.
Outcome refuseUnlessIdle(const Device& device);

}  // namespace disktools
