#include "tests/soak/VolumeLoss.h"

#include <sys/mount.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <vector>

#include "leaf/DeviceNames.h"
#include "leaf/MountTable.h"

namespace soak {
namespace {

// The views point into `table`.
std::set<std::string_view> devicesIn(const std::vector<MountLine>& table) {
  std::set<std::string_view> devices;
  for (const auto& mount : table)
    if (liesInDeviceFolder(mount.mountedOn)) devices.insert(mount.device);
  return devices;
}

}  // namespace

std::size_t attachedDevices() {
  const auto text = readMountTable();
  return devicesIn(parseMountTable(text.value())).size();
}

bool isMounted(const std::string& path) {
  const auto text = readMountTable();
  const auto table = parseMountTable(text.value());
  return std::any_of(table.begin(), table.end(), [&](const MountLine& mount) {
    return withoutMountEscapes(mount.mountedOn) == path;
  });
}

void loseVolumes() {
  const auto text = readMountTable();
  auto table = parseMountTable(text.value());
  const auto devices = devicesIn(table);
  std::reverse(table.begin(), table.end());  // what covers goes before what is covered
  for (const auto& mount : table)
    if (devices.contains(mount.device))
      umount2(withoutMountEscapes(mount.mountedOn).c_str(), MNT_DETACH);
  std::error_code ignored;
  std::filesystem::remove_all(kDeviceFolder, ignored);
}

}  // namespace soak
