#pragma once
// The devices that exist now, found in the mount table: a device is its private mount, described by
// its record. What it is mounted at for its user are the other mounts of the same file system,
// wherever they have come from; asking the kernel each time cannot go stale as a note would.
//
// Of devices that were attached in another mount namespace the table shows nothing, or copies that
// were made when this namespace was. They are listed, so that nobody takes their disks for gone,
// and left alone: unmounting a copy frees nothing, and what follows it would reach the originals.

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
  MountEntry home;                 // the private mount; empty when it is only elsewhere
  std::vector<MountEntry> mounts;  // where it is mounted for its user, oldest first
  bool isElsewhere = false;        // it was attached in another namespace, which lives
};

// Every device, by number. What is left of one whose private mount is nowhere is cleared away.
Result<std::vector<Device>> liveDevices(const State& state);

// How the kernel names the mount namespace of this process; empty when it cannot be told.
std::string ownMountNamespace();

// The caller's device with this node, to act on it. Fails for a node that is none, for a device of
// another user, and for one of another mount namespace.
Result<Device> findDevice(const State& state, const Caller& caller, std::string_view node);

// A problem unless the caller may act on the device here. `name` is what she asked for it by.
Outcome checkAccess(const Device& device, const Caller& caller, std::string_view name);

// A problem when the device is mounted for its user or its record is damaged.
Outcome refuseUnlessIdle(const Device& device);

}  // namespace disktools
