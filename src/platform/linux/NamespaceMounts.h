#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/ProcessFolder.h"

namespace platform {

// The mounts of one file system that a process sees.
struct MountsOfDevice {
  std::vector<std::uint64_t> identifiers;
  std::vector<std::string> paths;  // as the kernel tells paths to this process

  // false for a path that surely lies on none of them.
  bool mayHold(std::string_view path) const;
  bool have(std::uint64_t identifier) const;
};

// The same for all processes, read once for each mount namespace.
class NamespaceMounts {
 public:
  // `device` as "major:minor".
  explicit NamespaceMounts(std::string device);

  // No mounts for a process that may not be looked at.
  const MountsOfDevice& of(const ProcessFolder& process);

 private:
  const std::string device_;
  std::string ownName_;
  MountsOfDevice own_;
  std::map<std::string, MountsOfDevice> others_;  // by namespace and root directory
};

// The "major:minor" of the file system that is mounted at the path, empty where none is.
std::string deviceMountedAt(const std::string& path);

}  // namespace platform
