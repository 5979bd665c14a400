#pragma once

#include <string>

#include "platform/Machine.h"

namespace platform {

// The machine as the kernel shows it below /proc and /sys, and the system as its release file
// names it. Codes are errno values.
class LinuxMachine : public Machine {
 public:
  // `root` stands before every path read; empty for the running system.
  explicit LinuxMachine(std::string root = {}) : root_(std::move(root)) {}

  std::uint64_t physicalMemory() const override;
  std::optional<VirtualMemoryPages> virtualMemory() const override;
  std::optional<std::string> hardwareModel(int& code) const override;
  // The most that the processor runs at, and UINT32_MAX for what does not fit.
  std::optional<std::uint32_t> processorFrequency(int& code) const override;
  std::int64_t processorCount() const override;
  double uptime() const override;
  std::optional<bool> isSystemAtLeast(int, int, int) const override { return true; }
  std::optional<std::string> productVersion() const override;

 private:
  std::optional<std::string> read(const char* path) const;
  std::optional<double> frequency() const;  // hertz

  const std::string root_;
};

}  // namespace platform
