#include "IdleCost.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "ramdisk/QVRamDiskEntries.h"

extern char** environ;

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds kSettling(3);  // its start is not part of being idle
constexpr std::chrono::seconds kMeasured(60);
constexpr int kDisks = 15;

// Of /proc/PID/stat, proc(5).
struct Counters {
  double cpuSeconds = 0;
  long childFaults = 0;  // of children that were waited for: more of them tell that one was run
};

Counters countersOf(pid_t process) {
  std::ifstream file(fmt::format("/proc/{}/stat", process));
  std::string line;
  std::getline(file, line);
  std::istringstream fields(line.substr(line.rfind(')') + 2));
  std::vector<std::string> values;
  for (std::string value; fields >> value;) values.push_back(value);
  if (values.size() < 13) return {};
  const double ticks = std::stod(values[11]) + std::stod(values[12]);
  return {ticks / static_cast<double>(sysconf(_SC_CLK_TCK)), std::stol(values[8])};
}

double residentMegabytes(pid_t process) {
  std::ifstream file(fmt::format("/proc/{}/status", process));
  for (std::string line; std::getline(file, line);)
    if (line.starts_with("VmRSS:")) return std::stod(line.substr(6)) * 1024 / 1'000'000;
  return 0;
}

bool hasChildren(pid_t process) {
  std::ifstream file(fmt::format("/proc/{0}/task/{0}/children", process));
  std::string child;
  return static_cast<bool>(file >> child);
}

std::shared_ptr<QVRamDiskEntries> mountedDisks(const std::string& folder) {
  auto entries = QVRamDiskEntries::init();
  for (int i = 0; i < kDisks; ++i) {
    const auto disk = entries->addRamDisk();
    disk->setName(fmt::format("idle{}", i));
    disk->setMountDirectory(folder);
    disk->setSize(128'000'000);
    disk->setBackupMode(QVRamDiskBackupMode_AppSupport);
    fs::create_directories(folder + "/" + *disk->name());
    entries->create(disk, 0);
  }
  entries->writeRamDisksToDefaultLocation();
  return entries;
}

pid_t startHelper() {
  const std::string bench = fs::read_symlink("/proc/self/exe");
  std::string path = fs::path(bench).replace_filename("tarnvale-helper");
  std::string option = "--service";
  const std::array<char*, 3> args = {path.data(), option.data(), nullptr};
  pid_t process = 0;
  return posix_spawn(&process, path.c_str(), nullptr, nullptr, args.data(), environ) == 0 ? process
                                                                                          : 0;
}

std::string measured(pid_t helper) {
  std::this_thread::sleep_for(kSettling);
  const Counters before = countersOf(helper);
  std::this_thread::sleep_for(kMeasured);
  const Counters after = countersOf(helper);
  const double share = (after.cpuSeconds - before.cpuSeconds) / kMeasured.count() * 100;
  const bool children = after.childFaults != before.childFaults || hasChildren(helper);
  return fmt::format(
      "## An idle helper, {} disks mounted, {} seconds\n\n"
      "| share of a core | child processes | resident memory |\n|---|---|---|\n"
      "| {:.3f} % | {} | {:.1f} MB |\n",
      kDisks, kMeasured.count(), share, children ? "some" : "none", residentMegabytes(helper));
}

}  // namespace

std::string idleCost(const std::string& scratch) {
  const auto entries = mountedDisks(scratch + "/idle");
  const pid_t helper = startHelper();
  std::string table = helper > 0 ? measured(helper) : "";
  if (helper > 0) kill(helper, SIGTERM);
  int status = 0;
  if (helper <= 0 || waitpid(helper, &status, 0) != helper || status != 0) {
    fmt::print(stderr, "bench: the helper did not run as it should\n");
    table.clear();
  }
  for (const auto& disk : entries->ramDisks()) entries->eject(disk, 0);
  return table;
}

}  // namespace bench
