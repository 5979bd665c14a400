#include "tests/soak/VolumeLoss.h"

#include <sys/mount.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

namespace soak {
namespace {

constexpr std::string_view kDevices = "/run/tarnvale/";

struct MountLine {
  std::string device;  // MAJOR:MINOR of the file system
  std::string path;
};

// The table writes a blank in a path as \040.
std::string unescaped(const std::string& text) {
  constexpr std::size_t kEscape = 4;
  constexpr int kOctal = 8;
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      plain += text[i];
      continue;
    }
    plain += static_cast<char>(std::stoi(text.substr(i + 1, kEscape - 1), nullptr, kOctal));
    i += kEscape - 1;
  }
  return plain;
}

std::vector<MountLine> mountTable() {
  std::ifstream table("/proc/self/mountinfo");
  std::vector<MountLine> lines;
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string number;
    std::string parent;
    std::string root;
    MountLine mount;
    fields >> number >> parent >> mount.device >> root >> mount.path;
    mount.path = unescaped(mount.path);
    lines.push_back(std::move(mount));
  }
  return lines;
}

std::set<std::string> devicesIn(const std::vector<MountLine>& table) {
  std::set<std::string> devices;
  for (const auto& mount : table)
    if (mount.path.starts_with(kDevices)) devices.insert(mount.device);
  return devices;
}

}  // namespace

std::size_t attachedDevices() { return devicesIn(mountTable()).size(); }

bool isMounted(const std::string& path) {
  const auto table = mountTable();
  return std::any_of(table.begin(), table.end(),
                     [&](const MountLine& mount) { return mount.path == path; });
}

void loseVolumes() {
  auto table = mountTable();
  const auto devices = devicesIn(table);
  std::reverse(table.begin(), table.end());  // what covers goes before what is covered
  for (const auto& mount : table)
    if (devices.contains(mount.device)) umount2(mount.path.c_str(), MNT_DETACH);
  std::error_code ignored;
  std::filesystem::remove_all("/run/tarnvale", ignored);
}

}  // namespace soak
