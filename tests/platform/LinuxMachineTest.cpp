#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/LinuxMachine.h"
#include "tests/support/Scratch.h"

using namespace platform;

TEST(LinuxMachine, CountsPagesOfTheKernelsAmounts) {
  const Scratch root;
  const auto kilobytes = [](long pages) {
    return std::to_string(pages * sysconf(_SC_PAGESIZE) / 1024) + " kB\n";
  };
  root.file("proc/meminfo", "MemTotal:       16384256 kB\nMemFree: " + kilobytes(11) +
                                "Active(anon): 999 kB\nActive:   " + kilobytes(12) +
                                "Inactive: " + kilobytes(13) + "Unevictable: " + kilobytes(100) +
                                "SReclaimable: " + kilobytes(14) + "SUnreclaim: " + kilobytes(20) +
                                "KernelStack: " + kilobytes(3) + "PageTables: " + kilobytes(4));
  const LinuxMachine machine(root.path());
  EXPECT_EQ(machine.physicalMemory(), 16384256ULL * 1024);
  const auto pages = machine.virtualMemory().value_or(VirtualMemoryPages());
  EXPECT_EQ(pages.pageSize, static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
  EXPECT_EQ((std::vector{pages.free, pages.active, pages.inactive, pages.wired, pages.purgeable,
                         pages.compressed}),
            (std::vector<std::uint64_t>{11, 12, 13, 127, 14, 0}));
}

TEST(LinuxMachine, DescribesTheMachineFromWhatIsThere) {
  const Scratch root;
  const LinuxMachine machine(root.path());
  int code = 0;
  EXPECT_EQ(machine.hardwareModel(code), std::nullopt);
  EXPECT_EQ(std::exchange(code, 0), ENOENT);
  EXPECT_EQ(machine.processorFrequency(code), std::nullopt);
  EXPECT_EQ(code, ENOENT);
  EXPECT_EQ(machine.virtualMemory(), std::nullopt);

  root.file("proc/device-tree/model", std::string("A Board 5\0", 10));
  root.file("proc/cpuinfo",
            "processor\t: 0\ncpu MHz\t\t: 2400.500\nprocessor\t: 1\ncpu MHz\t: 1\n");
  root.file("proc/uptime", "1234.56 99.00\n");
  root.file("usr/lib/os-release", "VERSION_ID=1\n");
  EXPECT_EQ(machine.hardwareModel(code), "A Board 5");
  EXPECT_EQ(machine.processorFrequency(code), 2'400'500'000U);
  EXPECT_DOUBLE_EQ(machine.uptime(), 1234.56);
  EXPECT_EQ(machine.productVersion(), "1");

  root.file("sys/class/dmi/id/product_name", "Laptop 9\n");
  root.file("sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "4700000\n");
  root.file("etc/os-release", "NAME=\"X\"\nVERSION_ID=\"12.4\"\n");
  EXPECT_EQ(machine.hardwareModel(code), "Laptop 9");
  EXPECT_EQ(machine.processorFrequency(code), UINT32_MAX);
  EXPECT_EQ(machine.productVersion(), "12.4");
}

// The running machine's amounts fit each other.
TEST(LinuxMachine, ReadsTheRealMachine) {
  const LinuxMachine machine;
  const auto pages = machine.virtualMemory();
  ASSERT_TRUE(pages);
  EXPECT_GT(machine.physicalMemory(), 0U);
  EXPECT_LT((pages->free + pages->wired) * pages->pageSize, machine.physicalMemory());
  EXPECT_GT(machine.uptime(), 0);
  EXPECT_EQ(machine.processorCount(), std::thread::hardware_concurrency());
}
