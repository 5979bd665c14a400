#include "Contest.h"
#include "Ground.h"
#include "Measurements.h"
#include "system/QVDirectoryStatistics.h"

namespace bench {

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
