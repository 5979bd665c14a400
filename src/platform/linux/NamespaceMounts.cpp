#include "platform/linux/NamespaceMounts.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "leaf/MountTable.h"

namespace platform {
namespace {

bool liesIn(std::string_view path, std::string_view folder) {
  if (folder == "/") return true;
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// The table tells paths from the process's root directory, its links from that of its namespace.
void addMounts(MountsOfDevice& mounts, const ProcessFolder& process, const std::string& device,
               const std::string& root) {
  const std::string table = process.text("mountinfo");
  for (const MountLine& line : parseMountTable(table)) {
    if (line.device != device) continue;
    mounts.identifiers.push_back(line.identifier);
    mounts.paths.push_back(root + withoutMountEscapes(line.mountedOn));
  }
}

}  // namespace

bool MountsOfDevice::mayHold(std::string_view path) const {
  if (path.empty()) return !paths.empty();
  return std::any_of(paths.begin(), paths.end(),
                     [&](const std::string& folder) { return liesIn(path, folder); });
}

bool MountsOfDevice::have(std::uint64_t identifier) const {
  return std::find(identifiers.begin(), identifiers.end(), identifier) != identifiers.end();
}

NamespaceMounts::NamespaceMounts(std::string device) : device_(std::move(device)) {
  const ProcessFolder self("self");
  ownName_ = self.link("ns/mnt").value_or("");
  addMounts(own_, self, device_, "");
}

// In this process's own namespace all links are told as this process sees it, whatever the root of
// theirs. A process that went to another one still has what it opened before.
const MountsOfDevice& NamespaceMounts::of(const ProcessFolder& process) {
  static const MountsOfDevice kNone;
  const auto name = process.link("ns/mnt");
  if (!name) return kNone;
  if (*name == ownName_) return own_;
  std::string root = process.link("root").value_or("/");
  if (root == "/") root.clear();
  const auto [found, isNew] = others_.try_emplace(*name + root, own_);
  if (isNew) addMounts(found->second, process, device_, root);
  return found->second;
}

std::string deviceMountedAt(const std::string& path) {
  struct statx info {};
  const int flags = AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
  if (statx(AT_FDCWD, path.c_str(), flags, STATX_MNT_ID, &info) != 0) return {};
  if ((info.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0) return {};
  const auto table = readMountTable();
  if (!table) return {};
  for (const MountLine& line : parseMountTable(*table))
    if (line.identifier == info.stx_mnt_id) return std::string(line.device);
  return {};
}

}  // namespace platform
