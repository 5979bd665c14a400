#include <cstdio>
#include <ctime>

#include "tests/menu/MenuTest.h"

namespace {

// Processor time of one of many turns, in milliseconds.
double costOf(const std::function<void()>& work) {
  constexpr int kTurns = 20;
  const auto before = std::clock();
  for (int turn = 0; turn < kTurns; ++turn) work();
  return 1000.0 * static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC / kTurns;
}

// How long depends on the machine and on what else it does, so it is only told.
TEST_F(MenuTest, WhatFifteenMountedDisksCost) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < QVRamDiskEntries::kMostRamDisks; ++i)
    names.push_back("disk" + std::to_string(i));
  writeList(names);
  start();
  click(open(), "Create All");
  waitForEnd();
  const double opening = costOf([this] { open(); });
  const double refresh = costOf([this] { controller->ramDiskEntries()->updatorAction(); });
  std::printf("15 mounted disks: %.2f ms to build the menu, %.3f ms each second\n", opening,
              refresh);
  EXPECT_EQ(open().items().size(), 23U);
  for (std::size_t i = 0; i < names.size(); ++i)
    EXPECT_EQ(disk(i)->status(), QVRamDiskStatus_mounted) << i;
}

}  // namespace
