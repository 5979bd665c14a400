#include "disktools/Mounts.h"

#include "leaf/MountTable.h"

namespace disktools {

Result<std::vector<MountEntry>> readMounts() {
  const std::string table = readMountTable().value_or("");
  std::vector<MountEntry> mounts;
  for (const MountLine& line : parseMountTable(table))
    mounts.push_back({line.identifier, std::string(line.device), withoutMountEscapes(line.root),
                      withoutMountEscapes(line.mountedOn)});
  if (mounts.empty()) return Problem{"cannot read the mount table", 0, "is /proc mounted?"};
  return mounts;
}

}  // namespace disktools
