#pragma once

#include <string>

#include "platform/Result.h"

namespace platform {

// Removes an item, a directory with all below it. It works relative to open directories, never
// follows a link and never leaves the mount on which the item's own folder lies: a mount point, the
// item itself included, is the error EBUSY. Bind mounts are recognised on Linux. The user's own
// directories are made writable where that is needed. Uses a few descriptors and no stack however
// deep the tree is. Stops at the first failure.
Outcome removeTree(const std::string& path);

}  // namespace platform
