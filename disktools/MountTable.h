#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "disktools/Result.h"

namespace disktools {

// One line of the kernel's mount table, see proc(5), mountinfo.
struct MountEntry {
  std::uint64_t id = 0;
  std::string device;  // "major:minor" of the file system; what every mount of a volume shares
  std::string root;    // the directory of the file system that is mounted, "/" for all of it
  std::string path;    // where, with the table's octal escapes undone
  std::string type;
  std::string source;
};

using MountTable = std::vector<MountEntry>;

// The table of this process's mount namespace, oldest mounts first.
Result<MountTable> readMountTable();

// Lines that do not have the table's form are left out.
MountTable parseMountTable(std::string_view text);

}  // namespace disktools
