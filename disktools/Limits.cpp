#include "disktools/Limits.h"

#include <sys/sysinfo.h>

#include <algorithm>
#include <cerrno>

#include "disktools/PropertyList.h"

namespace disktools {

namespace {

constexpr std::size_t kMostDevices = 64;
constexpr std::size_t kLongestName = 255;  // bytes, what Linux allows a path component

struct Memory {
  std::uint64_t physical = 0;  // bytes
  std::uint64_t withSwap = 0;
};

Memory memory() {
  struct sysinfo info {};
  if (sysinfo(&info) != 0) return {};
  const std::uint64_t unit = info.mem_unit;
  return {info.totalram * unit, (info.totalram + info.totalswap) * unit};
}

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

Failure checkShare(const Caller& caller, std::uint64_t bytes, const std::vector<Device>& devices,
                   std::uint64_t most) {
  std::uint64_t total = bytes;
  std::size_t count = 0;
  for (const Device& device : devices) {
    if (device.record.uid != caller.uid) continue;
    total += device.record.bytes();
    ++count;
  }
  if (count >= kMostDevices) return Problem{"you have 64 devices already", EDQUOT, "detach one"};
  if (total <= most) return std::nullopt;
  return Problem{
      "your devices would take " + sizeText(total) + " of the machine's " + sizeText(most), EDQUOT,
      "detach one or ask for less"};
}

}  // namespace

Failure checkVolumeName(std::string_view name) {
  if (name.empty() || name == "." || name == ".." || name.size() > kLongestName ||
      name.find('/') != std::string_view::npos)
    return Problem{"a volume name is one path component of at most 255 bytes", EINVAL, {}};
  if (std::any_of(name.begin(), name.end(), isControl) || validText(name) != name)
    return Problem{"a volume name is valid UTF-8 without control characters", EINVAL, {}};
  return std::nullopt;
}

Failure checkSize(const Caller& caller, std::uint64_t sectors, const std::vector<Device>& devices) {
  const Memory available = memory();
  if (sectors > available.withSwap / 512)
    return Problem{"cannot make a file system of " + std::to_string(sectors) + " sectors", ENOSPC,
                   "the machine has " + sizeText(available.withSwap) + " with its swap"};
  return caller.isRoot() ? std::nullopt
                         : checkShare(caller, sectors * 512, devices, available.physical);
}

}  // namespace disktools
