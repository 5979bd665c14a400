#pragma once
// Paths that a caller names, held by descriptor so that nothing can be put in their place between
// looking and acting.

#include <cstdint>
#include <string>

#include "disktools/Caller.h"
#include "disktools/Mounts.h"
#include "disktools/Result.h"
#include "leaf/Descriptor.h"

namespace disktools {

// The directory at `path`, reached with the caller's rights and through no symbolic link. It
// belongs to the caller (root takes any) and lies on a file system that keeps files, and not on a
// private mount.
Result<Descriptor> pinDirectory(const Caller& caller, const std::string& path);

// The mount on top at a path. The directory above is held; the kernel lets nobody rename or
// remove what is mounted upon, so its name stays good as long as the mount does.
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
Failure unmount(const MountPoint& point, bool force);

}  // namespace disktools
