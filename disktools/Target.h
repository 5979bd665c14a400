#pragma once
// Paths that a caller names, held by descriptor.
//
// A path is only a wish: whoever may rename things on the way can make it lead elsewhere between a
// look and an act. So a path is walked once, with the caller's rights and through no symbolic link,
// and what it led to is held by an O_PATH descriptor. All checks ask the descriptor, and mounting
// goes onto it: whatever becomes of the name, the mount lies over the directory that was looked at.
//
// Unmounting knows no descriptor, only paths. There the directory above is held and the last name
// looked up from it: the kernel lets nobody rename or remove what is mounted upon, so that name
// stays good as long as the mount does, and UMOUNT_NOFOLLOW stops at a link. The number of the
// mount found, not its path, says whose it is.

#include <string>

#include "disktools/Caller.h"
#include "disktools/Devices.h"
#include "leaf/Descriptor.h"

namespace disktools {

// The directory at `path`, reached with the caller's rights and through no symbolic link. It
// belongs to the caller (root takes any) and lies on a file system that keeps files, and not on a
// private mount.
Result<Descriptor> pinDirectory(const Caller& caller, const std::string& path);

// The mount on top at a path.
struct MountPoint {
  Descriptor parent;
  std::string name;
  MountEntry entry;

  // A path that leads there through the descriptor.
  std::string path() const;
};

Result<MountPoint> pinMountPoint(const Caller& caller, const std::string& path);

// The root directory of the mount itself: a problem when another one has covered it since.
Result<Descriptor> pinRoot(const MountPoint& point);

// Takes the mount away: refused while it is in use or, when `force` is set, given up to its users.
Outcome unmount(const MountPoint& point, bool force);

}  // namespace disktools
