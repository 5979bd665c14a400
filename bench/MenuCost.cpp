#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "Contest.h"
#include "Disks.h"
#include "Ground.h"
#include "IdleCost.h"
#include "Measurements.h"
#include "ProcessCost.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

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
