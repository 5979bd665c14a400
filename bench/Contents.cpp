// Filling, emptying and measuring a volume, against the programs that people have for it.

#include <fmt/format.h>

#include <filesystem>

#include "Contest.h"
#include "Ground.h"
#include "Measurements.h"
#include "platform/Services.h"
#include "system/QVDirectoryStatistics.h"
#include "system/TreeRemover.h"

namespace fs = std::filesystem;

namespace bench {
namespace {

std::vector<std::string> namesIn(const std::string& folder) {
  auto names = platform::services().files->names(folder);
  if (!names) giveUp(names.error().text);
  return *std::move(names);
}

}  // namespace

// Into a fresh file system in memory each time, sources in the page cache.
std::string refilling(const DataSet& set, const std::string& scratch) {
  const std::string base = scratch + "/" + set.name;
  MemoryVolume volume(scratch + "/volume");
  const auto mount = [&] { volume.mount(); };
  const auto check = [&] {
    expectSame(base, volume.path);
    volume.unmount();
  };
  const auto copyAll = [&] { run({"cp", "-a", base + "/.", volume.path}); };
  const auto rsync = [&] { run({"rsync", "-a", base + "/", volume.path}); };
  const auto tar = [&] {
    shell(fmt::format("tar -C '{}' -cf - . | tar -C '{}' -xf -", base, volume.path));
  };
  return hold({"Refilling a RAM disk from " + set.description,
               {{"Tarnvale", [&] { fill(base, volume.path); }, mount, check},
                {"cp -a", copyAll, mount, check, 4},
                {"rsync -a", rsync, mount, check, 4},
                {"tar pipe", tar, mount, check, 1.8}}});
}

std::string emptying(const DataSet& set, const std::string& scratch) {
  MemoryVolume volume(scratch + "/volume");
  const auto refill = [&] {
    volume.mount();
    fill(scratch + "/" + set.name, volume.path);
  };
  const auto check = [&] {
    if (!fs::is_empty(volume.path)) giveUp("the volume is not empty");
    volume.unmount();
  };
  const auto remove = [&] { removeItems(namesIn(volume.path), volume.path); };
  const auto removeAll = [&] {
    std::vector<std::string> words = {"rm", "-rf"};
    for (const auto& name : namesIn(volume.path)) words.push_back(volume.path + "/" + name);
    run(words);
  };
  return hold({"Emptying a volume that holds " + set.description,
               {{"Tarnvale", remove, refill, check}, {"rm -rf", removeAll, refill, check, 1.6}},
               {},
               2 * kRuns - 1});
}

std::string measuring(const DataSet& set, const std::string& scratch) {
  const std::string folder = scratch + "/" + set.name;
  const auto ours = [&] {
    QVDirectoryStatistics statistics{};
    if (GetDirectoryStatistics(folder.c_str(), &statistics) != 0) giveUp("nothing was measured");
  };
  const auto du = [&] { run({"du", "-s", "--apparent-size", folder}); };
  return hold({"Measuring " + set.description,
               {{"Tarnvale", ours}, {"du -s --apparent-size", du, {}, {}, 1}},
               {},
               2 * kRuns - 1});
}

}  // namespace bench
