// What a helper costs that stays: idle, and with its menu operated as by a user.

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <thread>
#include <vector>

#include "Contest.h"
#include "Ground.h"
#include "Measurements.h"

extern char** environ;

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kWhile(250);
constexpr double kNextToNothing = 0.0005;  // seconds within that while: a status refresh is less

// Fields of /proc/PID/stat after the name, proc(5).
enum StatField : std::size_t { kChildFaults = 8, kChildUser = 13, kChildSystem = 14 };

std::string statField(pid_t process, StatField which) {
  std::ifstream file(fmt::format("/proc/{}/stat", process));
  std::string line;
  std::getline(file, line);
  std::istringstream fields(line.substr(line.rfind(')') + 2));
  std::string value;
  for (std::size_t i = 0; i <= which; ++i) fields >> value;
  return fields ? value : "0";
}

double threadSeconds(const std::filesystem::path& thread) {
  std::ifstream file(thread / "schedstat");
  double nanoseconds = 0;
  file >> nanoseconds;
  return nanoseconds / 1e9;
}

// A program that runs beside the benchmark and is ended with it.
class Companion {
 public:
  explicit Companion(std::vector<std::string> command);
  ~Companion() { end(); }
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

  pid_t process() const { return process_; }
  // Asks it to end, and gives its wait status.
  int end();

 private:
  pid_t process_ = 0;
};

Companion::Companion(std::vector<std::string> command) {
  std::vector<char*> words;
  for (auto& word : command) words.push_back(word.data());
  words.push_back(nullptr);
  if (posix_spawnp(&process_, words[0], nullptr, nullptr, words.data(), environ) != 0)
    giveUp("cannot run " + command[0]);
}

int Companion::end() {
  if (process_ <= 0) return 0;
  kill(process_, SIGTERM);
  int status = -1;
  waitpid(process_, &status, 0);
  process_ = 0;
  return status;
}

// Seconds of processor time of all threads so far, to the nanosecond, and of children that were
// waited for, to the clock tick.
double processorSeconds(pid_t process) {
  double seconds = 0;
  std::error_code ignored;
  for (const auto& thread :
       std::filesystem::directory_iterator(fmt::format("/proc/{}/task", process), ignored))
    seconds += threadSeconds(thread.path());
  const double ticks =
      std::stod(statField(process, kChildUser)) + std::stod(statField(process, kChildSystem));
  return seconds + ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// More of them tell that a child was run.
long childFaults(pid_t process) { return std::stol(statField(process, kChildFaults)); }

bool hasChildren(pid_t process) {
  std::ifstream file(fmt::format("/proc/{0}/task/{0}/children", process));
  std::string child;
  return static_cast<bool>(file >> child);
}

double residentMegabytes(pid_t process) {
  std::ifstream file(fmt::format("/proc/{}/status", process));
  for (std::string line; std::getline(file, line);)
    if (line.starts_with("VmRSS:")) return std::stod(line.substr(6)) * 1024 / 1'000'000;
  return 0;
}

// Waits until the process has used next to nothing for a while.
void untilQuiet(pid_t process) {
  double before = 0;
  double now = processorSeconds(process);
  do {
    before = now;
    std::this_thread::sleep_for(kWhile);
    now = processorSeconds(process);
  } while (now - before > kNextToNothing);
}

constexpr std::chrono::seconds kSettling(3);  // its start is not part of being idle
constexpr std::chrono::seconds kMeasured(60);

// The table for a process that is idle by now.
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

constexpr int kOpenings = 11;
constexpr int kEntries = 10'000;
constexpr double kMenuAim = 0.030;  // seconds of processor time
constexpr double kFolderAim = 0.150;
constexpr double kMemoryAim = 60;  // MB

// An X server without a screen, with a panel at the top left.
class Screen {
 public:
  Screen() : server_({"Xvfb", display_, "-screen", "0", "1024x768x24", "-nolisten", "tcp"}) {
    setenv("DISPLAY", display_.c_str(), 1);
    unsetenv("WAYLAND_DISPLAY");
    const std::string socket = "/tmp/.X11-unix/X" + display_.substr(1);
    for (int i = 0; i < 200 && !fs::exists(socket); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    panel_ = std::make_unique<Companion>(
        std::vector<std::string>{"trayer", "--edge", "top", "--align", "left", "--widthtype",
                                 "pixel", "--width", "100", "--height", "24"});
  }
  ~Screen() { unsetenv("DISPLAY"); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

 private:
  const std::string display_ = ":" + std::to_string(getpid());  // nobody else's
  Companion server_;
  std::unique_ptr<Companion> panel_;
};

void makeLargeFolder(const std::string& folder) {
  fs::create_directories(folder);
  for (int i = 0; i < kEntries; ++i) std::ofstream(fmt::format("{}/entry{:05}.txt", folder, i));
}

// The program's windows that show.
std::size_t windowsOf(pid_t process) {
  const std::string list =
      outputOf({"sh", "-c",
                fmt::format("xdotool search --onlyvisible --pid {} 2>/dev/null; true", process)});
  return static_cast<std::size_t>(std::count(list.begin(), list.end(), '\n'));
}

// The menu of a helper that runs, operated as by its user.
class Menu {
 public:
  explicit Menu(pid_t helper) : helper_(helper) { untilQuiet(helper); }

  // Processor time from the click until nothing more happens.
  double open() {
    return costOf({"mousemove", "12", "12", "click", "1"}, "the menu does not open");
  }
  double press(const std::string& key) { return costOf({"key", key}, key + " opens nothing"); }
  void move(const std::string& key) const {
    run({"xdotool", "key", key});
    untilQuiet(helper_);
  }
  void close() const {
    for (int i = 0; i < 4; ++i) move("Escape");
  }

 private:
  double costOf(std::vector<std::string> words, const std::string& otherwise) const {
    const std::size_t windows = windowsOf(helper_);
    const double before = processorSeconds(helper_);
    words.insert(words.begin(), "xdotool");
    run(words);
    untilQuiet(helper_);
    const double cost = processorSeconds(helper_) - before;
    if (windowsOf(helper_) <= windows) giveUp(otherwise);
    return cost;
  }

  const pid_t helper_;
};

struct Costs {
  std::vector<double> menu;
  std::vector<double> folder;
  double resident = 0;  // megabytes, with the menu and the folder open
};

// The last row is the second item from the end, and the large folder the last of its menu.
Costs measured(pid_t helper) {
  Menu menu(helper);
  Costs costs;
  for (int i = 0; i < kOpenings; ++i) {
    costs.menu.push_back(menu.open());
    menu.move("Up");
    menu.move("Up");
    menu.press("Right");
    menu.move("Up");
    costs.folder.push_back(menu.press("Right"));
    costs.resident = std::max(costs.resident, residentMegabytes(helper));
    menu.close();
  }
  return costs;
}

std::string row(const std::string& what, std::vector<double> times, double aim) {
  const double first = times.front();
  times.erase(times.begin());
  return fmt::format("| {} | {:.1f} ms | {:.1f} ms | {:.0f} ms |\n", what, median(times) * 1000,
                     first * 1000, aim * 1000);
}

std::string table(const Costs& costs) {
  return fmt::format(
             "## The status menu with {} disks mounted\n\nProcessor time of the helper and of what "
             "it runs, from the click until it has drawn, on an X server without a screen.\n\n"
             "| opening | median of {} | the first time | aim, at most |\n|---|---|---|---|\n",
             QVRamDiskEntries::kMostRamDisks, kOpenings - 1) +
         row("the menu", costs.menu, kMenuAim) +
         row(fmt::format("a folder of {} entries", kEntries), costs.folder, kFolderAim) +
         fmt::format("\nResident memory with both open: {:.1f} MB (aim: at most {:.0f}).\n\n",
                     costs.resident, kMemoryAim);
}

}  // namespace

std::string idleCost(const std::string& scratch) {
  const MountedDisks disks(scratch + "/idle");
  Companion helper({besideBench("tarnvale-helper"), "--service"});
  std::string table = idleTable("An idle helper without a menu", helper.process());
  if (helper.end() == 0) return table;
  fmt::print(stderr, "bench: the helper did not run as it should\n");
  return {};
}

std::string menuCost(const std::string& scratch) {
  MountedDisks disks(scratch + "/menu");
  disks.entries().setShowInMenuBar(true);
  disks.entries().writeRamDisksToDefaultLocation();
  makeLargeFolder(
      fmt::format("{}/menu/disk{}/entries", scratch, QVRamDiskEntries::kMostRamDisks - 1));
  const Screen screen;
  const Companion helper({besideBench("tarnvale-helper"), "FromApp"});
  std::string text = table(measured(helper.process()));
  return text + idleTable("An idle helper with its menu closed", helper.process());
}

}  // namespace bench
