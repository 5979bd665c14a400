#include <fmt/format.h>

#include "Contest.h"
#include "Ground.h"
#include "Measurements.h"

namespace bench {

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

}  // namespace bench
