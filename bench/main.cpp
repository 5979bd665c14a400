// Measures what users wait for, against what they would use instead, in one run, and writes a
// table. Run it through "make bench": it mounts, so it wants a mount namespace of its own.

#include <fmt/format.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "DataSets.h"
#include "Timing.h"
#include "platform/linux/LinuxServices.h"
#include "ramdisk/QVRamDiskEntries.h"
#include "system/QVDirectoryStatistics.h"
#include "system/TreeCopier.h"

namespace fs = std::filesystem;
using bench::median;
using bench::seconds;

namespace {

constexpr int kRuns = 5;

// Counts the external tools that the engine asks for.
class CountingPlaces : public platform::Places {
 public:
  explicit CountingPlaces(std::shared_ptr<platform::Places> real) : real_(std::move(real)) {}
  std::string tool(platform::Tool tool) const override {
    ++tools;
    return real_->tool(tool);
  }
  std::optional<std::string> home() const override { return real_->home(); }
  std::vector<std::string> applicationSupportDirectories() const override {
    return real_->applicationSupportDirectories();
  }
  std::vector<std::string> cachesDirectories() const override { return real_->cachesDirectories(); }
  std::string preferencesDirectory() const override { return real_->preferencesDirectory(); }
  std::string volumesDirectory() const override { return real_->volumesDirectory(); }
  std::string usersDirectory() const override { return real_->usersDirectory(); }
  std::vector<std::string> protectedDirectories() const override {
    return real_->protectedDirectories();
  }
  std::vector<std::string> libraryPrefixes() const override { return real_->libraryPrefixes(); }
  std::vector<std::string> allowedLibraryPrefixes() const override {
    return real_->allowedLibraryPrefixes();
  }
  bool isVolumeType(std::string_view type) const override { return real_->isVolumeType(type); }
  platform::KindTable kindTable() const override { return real_->kindTable(); }

  mutable int tools = 0;

 private:
  std::shared_ptr<platform::Places> real_;
};

class Table {
 public:
  explicit Table(const std::string& title) { text_ = "## " + title + "\n\n"; }
  void header(const std::string& columns, int count) {
    text_ += "| " + columns + " |\n|";
    for (int i = 0; i < count; ++i) text_ += "---|";
    text_ += "\n";
  }
  void row(const std::string& cells) { text_ += "| " + cells + " |\n"; }
  void note(const std::string& text) { text_ += "\n" + text + "\n"; }
  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

void shell(const std::string& command) {
  if (std::system(command.c_str()) != 0) fmt::print(stderr, "bench: failed: {}\n", command);
}

std::string refresh(const std::string& scratch, const std::shared_ptr<CountingPlaces>& places) {
  const auto entries = QVRamDiskEntries::init();
  for (int i = 0; i < 15; ++i) {
    const auto disk = entries->addRamDisk();
    disk->setName(fmt::format("disk{}", i));
    disk->setMountDirectory(scratch + "/disks");
    disk->setSize(128'000'000);
    fs::create_directories(scratch + "/disks/" + *disk->name());
    entries->create(disk, 0);
    if (disk->status() != QVRamDiskStatus_mounted) fmt::print(stderr, "bench: no disk {}\n", i);
  }
  places->tools = 0;
  std::vector<double> times(200);
  for (double& time : times) time = seconds([&] { entries->updatorAction(); });
  Table table("Status refresh of 15 mounted disks");
  table.header("median", 1);
  table.row(fmt::format("{:.3f} ms", median(times) * 1000));
  table.note(fmt::format("External tools run in {} refreshes: {}.", times.size(), places->tools));
  for (const auto& disk : entries->ramDisks()) entries->eject(disk, 0);
  return table.text();
}

struct Contest {
  const char* name;
  std::function<void(const std::string& from, const std::string& to)> work;
};

// Copies into a fresh file system in memory each time, sources in the page cache.
std::string copying(const std::string& title, const std::string& from, const std::string& to) {
  const std::vector<Contest> contests = {
      {"Tarnvale",
       [](const auto& source, const auto& target) {
         if (!copyItemAtPath(source, target + "/copy").complete())
           fmt::print(stderr, "bench: the copy is not complete\n");
       }},
      {"cp -a",
       [](const auto& source, const auto& target) {
         shell(fmt::format("cp -a '{}' '{}/copy'", source, target));
       }},
      {"rsync -a",
       [](const auto& source, const auto& target) {
         shell(fmt::format("rsync -a '{}/' '{}/copy'", source, target));
       }},
      {"tar pipe",
       [](const auto& source, const auto& target) {
         shell(fmt::format("mkdir '{1}/copy' && tar -C '{0}' -cf - . | tar -C '{1}/copy' -xf -",
                           source, target));
       }},
  };
  std::vector<std::vector<double>> times(contests.size());
  fs::create_directories(to);
  for (int run = 0; run < kRuns; ++run)
    for (std::size_t i = 0; i < contests.size(); ++i) {
      if (mount("tmpfs", to.c_str(), "tmpfs", 0, "size=2g") != 0) std::abort();
      times[i].push_back(seconds([&] { contests[i].work(from, to); }));
      umount2(to.c_str(), MNT_DETACH);
    }
  Table table(title);
  table.header("with | median | times as long", 3);
  for (std::size_t i = 0; i < contests.size(); ++i)
    table.row(fmt::format("{} | {:.3f} s | {:.2f}", contests[i].name, median(times[i]),
                          median(times[i]) / median(times[0])));
  return table.text();
}

std::string measuring(const std::string& folder) {
  std::vector<double> ours;
  std::vector<double> du;
  for (int run = 0; run < kRuns; ++run) {
    ours.push_back(seconds([&] {
      QVDirectoryStatistics statistics;
      GetDirectoryStatistics(folder.c_str(), &statistics);
    }));
    du.push_back(seconds([&] { shell("du -s --apparent-size '" + folder + "' >/dev/null"); }));
  }
  Table table("Measuring a directory of 50,000 files");
  table.header("with | median | times as long", 3);
  table.row(fmt::format("Tarnvale | {:.3f} s | 1.00", median(ours)));
  table.row(fmt::format("du -s --apparent-size | {:.3f} s | {:.2f}", median(du),
                        median(du) / median(ours)));
  return table.text();
}

}  // namespace

int main(int argc, char** argv) {
  const char* scratchVariable = std::getenv("SCRATCH");
  if (argc != 2 || !scratchVariable) {
    fmt::print(stderr, "usage: make bench\n");
    return 2;
  }
  const std::string scratch = scratchVariable;
  platform::LinuxOptions options;
  auto services = platform::linuxServices(options);
  const auto places = std::make_shared<CountingPlaces>(services.places);
  services.places = places;
  platform::install(services);

  bench::makeBrowserCache(scratch + "/browser");
  bench::makeBuildFolder(scratch + "/build");
  std::string report = fmt::format(
      "# Measurements\n\nMade by `make bench` on {} cores. Medians; smaller is better.\n\n",
      std::thread::hardware_concurrency());
  report += refresh(scratch, places) + "\n";
  report += copying("Refilling from a browser cache: 20,000 files, 800 MB", scratch + "/browser",
                    scratch + "/target") +
            "\n";
  report += copying("Refilling from a build folder: 50,000 files, 440 MB", scratch + "/build",
                    scratch + "/target") +
            "\n";
  report += measuring(scratch + "/build");
  std::ofstream(argv[1]) << report;
  fmt::print("{}", report);
  return 0;
}
