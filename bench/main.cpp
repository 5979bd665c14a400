// Measures what users wait for, against what they would use instead, in one run, and writes a
// table. Run it through "make bench": it mounts, so it wants a mount namespace of its own.
// Usage: tarnvale-bench RESULTS [MEASUREMENT…], as Measurements.h calls them; all without.

#include <fmt/format.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include "Ground.h"
#include "Measurements.h"
#include "platform/Services.h"
#include "platform/linux/LinuxServices.h"

namespace {

constexpr char kAbout[] =
    "# Measurements\n\nMade by `make bench` on {} cores. What is saved goes to a new ext4 in a "
    "file on "
    "the disk, mounted past the disk's cache; sources are in memory or in the page cache. All that "
    "stands in one table was measured in turns in the same run; \"aim\" says how many times as "
    "long "
    "it should at least take. Each save is on the disk when its time ends (`sync -f` is part of "
    "it). "
    "Tarnvale's saves drop the generation before, which for `cp -a` and `--link-dest` is done "
    "outside "
    "their time.\n\n";

// What lies in memory is never flushed.
bool isInMemory(const std::string& folder) {
  struct statfs facts {};
  if (statfs(folder.c_str(), &facts) != 0) bench::giveUp("no scratch folder");
  return facts.f_type == TMPFS_MAGIC;
}

// All measurements, or those that are asked for.
class Report {
 public:
  Report(std::string scratch, std::string program, std::set<std::string> asked)
      : scratch_(std::move(scratch)), program_(std::move(program)), asked_(std::move(asked)) {}

  std::string make() const {
    std::string text = fmt::format(kAbout, std::thread::hardware_concurrency());
    if (wants("refreshing")) text += bench::refreshing(scratch_);
    if (wants("creating")) text += bench::creating(scratch_, program_);
    const bench::DiskImage disk(scratch_ + "/disk");
    for (const auto& set : {bench::browserCache(), bench::buildFolder()})
      text += ofDataSet(set, disk.path);
    if (wants("idling")) text += bench::idleCost(scratch_);
    if (wants("menu")) text += bench::menuCost(scratch_);
    return text;
  }

 private:
  std::string ofDataSet(const bench::DataSet& set, const std::string& disk) const {
    std::string text;
    bench::make(set, disk + "/" + set.name);
    if (wants("refilling")) text += bench::refilling(set, disk);
    if (wants("saving")) text += bench::saving(set, disk);
    if (wants("emptying")) text += bench::emptying(set, disk);
    if (wants("measuring")) text += bench::measuring(set, disk);
    return text;
  }
  bool wants(const char* measurement) const { return asked_.empty() || asked_.count(measurement); }

  std::string scratch_;
  std::string program_;
  std::set<std::string> asked_;
};

}  // namespace

int main(int argc, char** argv) {
  const char* scratch = std::getenv("SCRATCH");
  if (geteuid() != 0) bench::giveUp("only root can mount a disk image");
  if (argc < 2 || !scratch) bench::giveUp("usage: make bench");
  if (isInMemory(scratch)) bench::giveUp("TMPDIR must name a folder on a disk");
  platform::LinuxOptions options;
  platform::install(platform::linuxServices(options));
  const std::string text =
      Report(scratch, bench::besideBench("tarnvale"), {argv + 2, argv + argc}).make();
  std::ofstream(argv[1]) << text;
  return 0;
}
