#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "disktools/Result.h"

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

}  // namespace disktools
