#include "platform/linux/LinuxMachine.h"

#include <sys/sysinfo.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "platform/linux/KeyedText.h"
#include "platform/posix/FileContents.h"

namespace platform {
namespace {

constexpr char kMemory[] = "/proc/meminfo";
constexpr double kPerKilo = 1e3;
constexpr double kPerMega = 1e6;

// An amount of /proc/meminfo, which counts in units of 1024 bytes; 0 for one that this kernel does
// not tell.
std::uint64_t bytesOf(std::string_view memory, std::string_view key) {
  const auto value = valueOfLine(memory, key, ':');
  const auto amount = value ? leadingNumber(*value) : std::nullopt;
  return amount && *amount > 0 ? static_cast<std::uint64_t>(*amount) * 1024 : 0;
}

std::string_view withoutQuotes(std::string_view text) {
  const bool quoted = text.size() >= 2 && (text.front() == '"' || text.front() == '\'') &&
                      text.back() == text.front();
  return quoted ? text.substr(1, text.size() - 2) : text;
}

}  // namespace

std::optional<std::string> LinuxMachine::read(const char* path) const {
  const auto contents = readWholeFile(root_ + path);
  return contents.value();
}

std::uint64_t LinuxMachine::physicalMemory() const {
  const auto memory = read(kMemory);
  const std::uint64_t total = memory ? bytesOf(*memory, "MemTotal") : 0;
  struct sysinfo info {};
  if (total != 0 || sysinfo(&info) != 0) return total;
  return std::uint64_t{info.totalram} * info.mem_unit;
}

// Wired is what can neither be dropped nor written out; purgeable what the kernel drops by itself.
std::optional<VirtualMemoryPages> LinuxMachine::virtualMemory() const {
  const auto memory = read(kMemory);
  const auto pageSize = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
  if (!memory || !valueOfLine(*memory, "MemFree", ':')) return std::nullopt;
  const auto pages = [&](std::initializer_list<const char*> keys) {
    std::uint64_t bytes = 0;
    for (const char* key : keys) bytes += bytesOf(*memory, key);
    return bytes / pageSize;
  };
  return VirtualMemoryPages{
      .pageSize = pageSize,
      .free = pages({"MemFree"}),
      .active = pages({"Active"}),
      .inactive = pages({"Inactive"}),
      .wired = pages({"Unevictable", "SUnreclaim", "KernelStack", "PageTables"}),
      .purgeable = pages({"SReclaimable"}),
      .compressed = pages({"Zswap"})};
}

// Machines without a firmware of the PC's kind describe themselves by a device tree.
std::optional<std::string> LinuxMachine::hardwareModel(int& code) const {
  for (const char* path : {"/sys/class/dmi/id/product_name", "/proc/device-tree/model"}) {
    const auto text = read(path);
    const std::string model(withoutBlanks(text ? std::string_view(*text) : std::string_view()));
    if (!model.empty()) return model;
  }
  code = ENOENT;
  return std::nullopt;
}

// A virtual machine tells no highest frequency, only the one of this moment.
std::optional<double> LinuxMachine::frequency() const {
  if (const auto text = read("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq")) {
    if (const auto kilohertz = leadingNumber(*text)) return *kilohertz * kPerKilo;
  }
  const auto processors = read("/proc/cpuinfo");
  const auto value = processors ? valueOfLine(*processors, "cpu MHz", ':') : std::nullopt;
  const auto megahertz = value ? leadingNumber(*value) : std::nullopt;
  if (!megahertz) return std::nullopt;
  return *megahertz * kPerMega;
}

std::optional<std::uint32_t> LinuxMachine::processorFrequency(int& code) const {
  const auto hertz = frequency();
  if (hertz && *hertz > 0)
    return static_cast<std::uint32_t>(
        std::min<double>(*hertz, std::numeric_limits<std::uint32_t>::max()));
  code = ENOENT;
  return std::nullopt;
}

std::int64_t LinuxMachine::processorCount() const {
  return std::max<std::int64_t>(1, sysconf(_SC_NPROCESSORS_ONLN));
}

double LinuxMachine::uptime() const {
  const auto text = read("/proc/uptime");
  return (text ? leadingNumber(*text) : std::nullopt).value_or(0);
}

std::optional<std::string> LinuxMachine::productVersion() const {
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    const auto release = read(path);
    const auto version = release ? valueOfLine(*release, "VERSION_ID", '=') : std::nullopt;
    if (version) return std::string(withoutQuotes(*version));
  }
  return std::nullopt;
}

}  // namespace platform
