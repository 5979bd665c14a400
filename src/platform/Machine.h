#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace platform {

// Page counts of the virtual memory system.
struct VirtualMemoryPages {
  std::uint64_t pageSize = 0;  // bytes
  std::uint64_t free = 0;
  std::uint64_t active = 0;
  std::uint64_t inactive = 0;
  std::uint64_t wired = 0;
  std::uint64_t purgeable = 0;
  std::uint64_t compressed = 0;
};

// The machine and its system. Any thread.
class Machine {
 public:
  virtual ~Machine() = default;

  virtual std::uint64_t physicalMemory() const = 0;  // bytes
  virtual std::optional<VirtualMemoryPages> virtualMemory() const = 0;

  // nullopt when the kernel does not say; `code` then holds its error code.
  virtual std::optional<std::string> hardwareModel(int& code) const = 0;
  virtual std::optional<std::uint32_t> processorFrequency(int& code) const = 0;  // hertz
  virtual std::int64_t processorCount() const = 0;
  virtual double uptime() const = 0;  // seconds

  // The version rules of the engine count in versions of macOS. A system that is not macOS answers
  // as a current one does, so that it gets each rule's present form. nullopt: cannot be told.
  virtual std::optional<bool> isSystemAtLeast(int major, int minor, int patch) const = 0;
  virtual std::optional<std::string> productVersion() const = 0;
};

}  // namespace platform
