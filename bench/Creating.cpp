#include <fmt/format.h>

#include <filesystem>
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

}  // namespace

std::string creating(const std::string& scratch, const std::string& program) {
  const std::string folder = scratch + "/created";
  fs::create_directories(folder);
  std::string tables = whole(folder, program);
  return tables + stages(folder, program);
}

}  // namespace bench
