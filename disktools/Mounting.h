#pragma once
// Showing a device's volume in a directory.

#include <cstdint>
#include <span>
#include <string>

#include "disktools/Devices.h"
#include "disktools/Result.h"
#include "disktools/Target.h"
#include "leaf/Descriptor.h"

namespace disktools {

struct MountOption {
  std::string_view name;
  std::uint64_t attribute;  // MOUNT_ATTR_…, 0 for one that asks nothing of this kernel
};

// Every option that is taken. None takes back what every volume is mounted with.
std::span<const MountOption> mountOptions();

// The attributes for these "-o" values, each one option or several with commas between, on top of
// what every volume gets.
Result<std::uint64_t> mountAttributes(std::span<const std::string> values);

// Mounts the volume over the directory itself, whatever its name has become since it was opened.
Failure showVolume(const Device& device, const Descriptor& directory, std::uint64_t attributes);

// Lets nobody write through this mount, or everybody again. What else it was mounted with stays, as
// do the device's private mount and what is mounted from it later. EBUSY while a file that was
// opened through this mount is open or mapped for writing.
Failure setWritable(const MountPoint& point, bool writable);

}  // namespace disktools
