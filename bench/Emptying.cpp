#include <filesystem>

#include "Contest.h"
#include "Ground.h"
#include "Measurements.h"
#include "platform/Services.h"
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

}  // namespace bench
