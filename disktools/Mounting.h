#pragma once
// Showing a device's volume in a directory.
//
// The volume's private mount is copied and the copy laid over the directory, so that the two come
// and go apart. What the copy is mounted with (read-only, no programs) is the copy's alone. It is
// private, too: what is mounted within it shows up in no other copy, and nothing mounted elsewhere
// shows up in it. Before it is attached it is seen by nobody, so its attributes hold from the first
// moment.

#include <cstdint>
#include <span>
#include <string>

#include "disktools/Devices.h"
#include "disktools/Target.h"

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
Outcome showVolume(const Device& device, const Descriptor& directory, std::uint64_t attributes);

// Lets nobody write through this mount, or everybody again. What else it was mounted with stays, as
// do the device's private mount and what is mounted from it later. EBUSY while a file that was
// opened through this mount is open or mapped for writing.
Outcome setWritable(const MountPoint& point, bool writable);

// A directory where a desktop shows a user's removable volumes, /run/media/USER.
struct MediaPlace {
  Descriptor directory;  // new, empty and root's until something is mounted over it
  std::string path;
};

// Makes a directory of this name in the user's media directory, or "NAME 1" and so on when
// something is there. The media directory is made root's and readable for the user: other
// programs that mount there as root rely on the user not being able to move things in it.
Result<MediaPlace> makeMediaPlace(const Caller& caller, const std::string& name);

// Removes such a directory again. One that is in use or not empty stays.
void removeMediaPlace(const std::string& path);

}  // namespace disktools
