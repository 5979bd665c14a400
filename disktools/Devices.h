#pragma once
// The devices that exist now: a device is its private mount, described by its record.

#include <string_view>
#include <vector>

#include "disktools/Caller.h"
#include "disktools/Mounts.h"
#include "disktools/Record.h"
#include "disktools/State.h"

namespace disktools {

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
Failure refuseUnlessIdle(const Device& device);

}  // namespace disktools
