#pragma once

#include <string>

#include "platform/Volumes.h"

namespace platform {

// What Volumes::use() answers, from what the kernel tells of every process in /proc. Nothing for a
// path where no volume is mounted.
//
// No file is opened, and no file system but the volume itself is asked anything, so that a server
// that does not answer holds nobody up: the path of an open file is compared as text, and only what
// may lie on the volume is looked at further. A sandboxed program, which sees mounts of its own,
// counts by those.
//
// What is mounted in the volume, other than over it, is named once by where that is.
//
// Not to be seen: processes of other users, unless by root; a file that only the kernel holds, as
// one on its way through a socket or behind a loop device; a listening socket's name; what only a
// thread has that shares no descriptors or directories with its process.
VolumeUse volumeUse(const std::string& mountPoint);

// What Volumes::useBelow() answers, for a path without links; no inodes are told.
VolumeUse usersBelow(const std::string& directory);

}  // namespace platform
