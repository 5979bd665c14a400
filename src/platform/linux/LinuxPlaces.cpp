#include "platform/linux/LinuxPlaces.h"

#include "platform/linux/LinuxKindTable.h"

namespace platform {
namespace {

const char* toolName(Tool tool) {
  switch (tool) {
    case Tool::Attacher:
      return "hdiutil";
    case Tool::Formatter:
      return "newfs_hfs";
    case Tool::DiskUtility:
      return "diskutil";
    case Tool::Mounter:
      return "mount";
    case Tool::Unmounter:
      return "umount";
    case Tool::Indexer:
      return "mdutil";
    case Tool::Purger:
      return "purge";
  }
  return "";
}

std::vector<std::string> known(const std::string& directory) {
  if (directory.empty()) return {};
  return {directory};
}

}  // namespace

std::string LinuxPlaces::tool(Tool tool) const { return tools_ + "/" + toolName(tool); }

std::vector<std::string> LinuxPlaces::applicationSupportDirectories() const {
  return known(directories_.data);
}

std::vector<std::string> LinuxPlaces::cachesDirectories() const {
  return known(directories_.caches);
}

// What belongs to the system or to its package manager, whose files nobody expects to come and go.
// "/tmp", "/home" and "/root" are missing on purpose: people build there, and a build folder in
// memory is what this program is for.
std::vector<std::string> LinuxPlaces::protectedDirectories() const {
  return {"/bin", "/boot", "/dev", "/etc",  "/lib", "/lib32", "/lib64", "/libx32", "/lost+found",
          "/opt", "/proc", "/run", "/sbin", "/srv", "/sys",   "/usr",   "/var"};
}

std::vector<std::string> LinuxPlaces::libraryPrefixes() const {
  auto prefixes = known(directories_.configuration);
  if (!directories_.data.empty()) prefixes.push_back(directories_.data);
  return prefixes;
}

// ext4 stands in on kernels whose file system in memory keeps no attributes of users.
bool LinuxPlaces::isVolumeType(std::string_view type) const {
  return type == "tmpfs" || type == "ext4";
}

KindTable LinuxPlaces::kindTable() const {
  return linuxKindTable(directories_.home.value_or(""), directories_.caches);
}

}  // namespace platform
