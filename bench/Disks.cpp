// Making a disk, and looking at all of them.

#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <regex>

#include "Contest.h"
#include "Ground.h"
#include "Measurements.h"
#include "platform/Services.h"

namespace fs = std::filesystem;
using platform::Tool;

namespace bench {
namespace {

constexpr int kCreations = 21;

std::string tool(Tool which) { return platform::services().places->tool(which); }

std::string whole(const std::string& folder, const std::string& program) {
  const auto mounts = [&] {
    for (int i = 0; i < 3; ++i) run({"mount", "-t", "tmpfs", "tmpfs", folder});
  };
  const auto unmounts = [&] {
    for (int i = 0; i < 3; ++i) run({"umount", folder});
  };
  const auto name = fs::path(folder).filename().string();
  run({program, "add", folder, "--size", "128M"});
  return hold({"Creating a RAM disk over an empty directory (at most 4 times as long is the aim)",
               {{"mount -t tmpfs, by hand, three times", mounts, {}, unmounts},
                {"tarnvale create",
                 [&] {
                   run({program, "create", name});
                 },
                 {},
                 [&] {
                   run({program, "eject", name});
                 }}},
               {},
               kCreations});
}

// One piece of a creation.
struct Stage {
  std::string name;
  std::function<void()> work;
  std::vector<double> times = {};
};

// What the engine runs, with the same words, and the start of the program that runs it.
std::vector<Stage> stagesOf(const std::string& folder, const std::string& program,
                            std::string& device) {
  const auto attach = [&] {
    const auto answer =
        outputOf({tool(Tool::Attacher), "attach", "-nomount", "-plist", "ram://250000"});
    std::smatch found;
    if (!std::regex_search(answer, found, std::regex("/dev/disk[0-9]+"))) giveUp("no device");
    device = found.str();
  };
  const auto mount = [&] {
    run({tool(Tool::Mounter), "-o", "noatime", "-o", "nobrowse", "-t", "hfs", device, folder});
  };
  const auto record = [folder] {
    if (!platform::services().files->replaceContents(folder + ".record", std::string(1300, 'x')))
      giveUp("no record");
  };
  return {{"starting and ending the program (`tarnvale --version`)",
           [&] {
             run({program, "--version"});
           }},
          {"`hdiutil attach`", attach},
          {"`newfs_hfs`",
           [&] {
             run({tool(Tool::Formatter), "-v", "stage", device});
           }},
          {"`mount`", mount},
          {"writing the list of disks, flushed", record}};
}

std::string stages(const std::string& folder, const std::string& program) {
  std::string device;
  auto all = stagesOf(folder, program, device);
  for (int i = 0; i < kCreations; ++i) {
    for (auto& stage : all) stage.times.push_back(seconds(stage.work));
    run({tool(Tool::Unmounter), folder});
    run({tool(Tool::Attacher), "detach", device});
  }
  std::string table =
      "### Where it goes\n\nEach stage by itself, medians; starts of processes are part of "
      "them.\n\n| stage | median |\n|---|---|\n";
  double sum = 0;
  for (const auto& stage : all) {
    table += fmt::format("| {} | {:.4f} s |\n", stage.name, median(stage.times));
    sum += median(stage.times);
  }
  return table + fmt::format("| all of these | {:.4f} s |\n\n", sum);
}

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

// For as long as it lives the engine's services count.
class CountedTools {
 public:
  CountedTools()
      : before_(platform::services()), places_(std::make_shared<CountingPlaces>(before_.places)) {
    auto all = before_;
    all.places = places_;
    platform::install(all);
  }
  ~CountedTools() { platform::install(before_); }
  CountedTools(const CountedTools&) = delete;
  CountedTools& operator=(const CountedTools&) = delete;

  int& count() { return places_->tools; }

 private:
  platform::Services before_;
  std::shared_ptr<CountingPlaces> places_;
};

}  // namespace

std::string creating(const std::string& scratch, const std::string& program) {
  const std::string folder = scratch + "/created";
  fs::create_directories(folder);
  std::string tables = whole(folder, program);
  return tables + stages(folder, program);
}

std::string refreshing(const std::string& scratch) {
  CountedTools counted;
  MountedDisks disks(scratch + "/disks");
  counted.count() = 0;
  std::vector<double> times(200);
  for (double& time : times) time = seconds([&] { disks.entries().updatorAction(); });
  const int tools = counted.count();
  return fmt::format(
      "## Status refresh of 15 mounted disks\n\n| median |\n|---|\n| {:.3f} ms |\n\n"
      "External tools run in {} refreshes: {}.\n\n",
      median(times) * 1000, times.size(), tools);
}

}  // namespace bench
