#include "IdleCost.h"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "Disks.h"
#include "Ground.h"
#include "ProcessCost.h"

namespace bench {
namespace {

constexpr std::chrono::seconds kSettling(3);  // its start is not part of being idle
constexpr std::chrono::seconds kMeasured(60);

}  // namespace

std::string idleTable(const std::string& title, pid_t process) {
  std::this_thread::sleep_for(kSettling);
  const double before = processorSeconds(process);
  const long faults = childFaults(process);
  std::this_thread::sleep_for(kMeasured);
  const double share = (processorSeconds(process) - before) / kMeasured.count() * 100;
  const bool children = childFaults(process) != faults || hasChildren(process);
  return fmt::format(
      "## {}, {} disks mounted, {} seconds\n\n"
      "| share of a core | child processes | resident memory |\n|---|---|---|\n"
      "| {:.3f} % | {} | {:.1f} MB |\n\n",
      title, QVRamDiskEntries::kMostRamDisks, kMeasured.count(), share, children ? "some" : "none",
      residentMegabytes(process));
}

std::string idleCost(const std::string& scratch) {
  const MountedDisks disks(scratch + "/idle");
  Companion helper({besideBench("tarnvale-helper"), "--service"});
  std::string table = idleTable("An idle helper without a menu", helper.process());
  if (helper.end() == 0) return table;
  fmt::print(stderr, "bench: the helper did not run as it should\n");
  return {};
}

}  // namespace bench
