#include "tests/soak/Soak.h"

#include <fmt/format.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "tests/soak/VolumeLoss.h"
#include "tests/support/Scratch.h"

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kTellEvery = 100;  // kills

std::string sortOf(const std::string& fault) { return fault.substr(0, fault.find(':')); }

std::string realDisk() { return fs::temp_directory_path().string() + "/real"; }

// Several runs may share the disk.
std::string ownPlace() { return realDisk() + "/run-" + std::to_string(getpid()); }

// The place may lie below a directory over which no disk may be mounted.
void showRealDisk(const std::string& place) {
  fs::create_directory(realDisk());
  if (mount(place.c_str(), realDisk().c_str(), nullptr, MS_BIND, nullptr) != 0)
    throw std::runtime_error("cannot reach " + place);
}

std::string lastLines(const std::string& file) {
  constexpr std::size_t kMost = 3000;
  const std::string text = readFile(file);
  return text.size() > kMost ? text.substr(text.size() - kMost) : text;
}

}  // namespace

int Soak::run() {
  adoptOrphans();
  showRealDisk(settings_.place);
  fmt::print("seed {}, {}\n", settings_.choices.seed,
             settings_.choices.recovers ? "with recover" : "the program cannot recover");
  if (!measureAll()) return 1;
  if (settings_.only)
    runRound(*settings_.only);
  else
    runRounds();
  tellResult();
  std::error_code ignored;
  fs::remove_all(ownPlace(), ignored);
  return settings_.broken.empty() ? failures_ != 0 : !hasLostFiles_;
}

// Faults that cost no file do not show that a broken program was seen through.
void Soak::runRounds() {
  while (kills_ < settings_.kills) {
    runRound(rounds_);
    const bool end = settings_.broken.empty() ? failures_ != 0 : hasLostFiles_;
    if (end && !settings_.keepsGoing) return;
  }
}

// A program that is not killed must do well, or nothing can be said about one that is.
std::optional<Outcome> Soak::measure(const Scenario& scenario, bool calls) {
  const Plan plan = measuring(scenario, calls);
  Random random(settings_.choices.seed, 0);
  Report report = perform(plan, random);
  if (calls && report.act.calls == 0) report.faults.emplace_back("stuck: no call was counted");
  if (report.faults.empty()) return report.act;
  tellFaults(plan, report);
  keepTree(plan);
  return std::nullopt;
}

bool Soak::measureAll() {
  for (const Scenario& scenario : scenarios(settings_.choices)) {
    const auto watched = measure(scenario, true);
    const auto timed = watched ? measure(scenario, false) : std::nullopt;
    if (!timed) return false;
    extents_[scenario] = {watched->calls, timed->took};
    fmt::print("{}: {} calls that change something, {} us\n", describe(scenario), watched->calls,
               timed->took.count());
  }
  return true;
}

std::string Soak::homeOf(const Plan& plan) const {
  return (plan.onDisk ? ownPlace() : fs::temp_directory_path().string()) + "/home";
}

Report Soak::perform(const Plan& plan, Random& random) {
  loseVolumes();
  return Round(settings_.program, plan, homeOf(plan), random).run();
}

void Soak::runRound(std::uint64_t number) {
  Random random(settings_.choices.seed, number + 1);
  const Plan plan = planOf(number, settings_.choices, extents_, random);
  const Report report = perform(plan, random);
  count(plan, report);
  if (report.faults.empty()) return;
  tellFaults(plan, report);
  if (++failures_ == 1) keepTree(plan);
}

void Soak::count(const Plan& plan, const Report& report) {
  ++rounds_;
  kills_ += report.act.killed ? 1 : 0;
  secondKills_ += report.secondKill ? 1 : 0;
  lostVolumes_ += report.lostVolume ? 1 : 0;
  leftTools_ += report.act.leftTool ? 1 : 0;
  rescued_ += report.rescued;
  strays_ += report.strays;
  mixed_ += report.mixed ? 1 : 0;
  if (report.act.killed && plan.point.afterCall)
    callsReached_[plan.scenario].insert(*plan.point.afterCall);
  std::set<std::string> sorts;
  for (const auto& fault : report.faults) sorts.insert(sortOf(fault));
  hasLostFiles_ = hasLostFiles_ || sorts.contains("lost") || sorts.contains("torn or old");
  for (const auto& sort : sorts) ++faults_[describe(plan.scenario) + ": " + sort];
  if (report.act.killed && kills_ % kTellEvery == 0) fmt::print("{} kills\n", kills_);
}

void Soak::tellFaults(const Plan& plan, const Report& report) const {
  const std::size_t most = settings_.keepsGoing ? 1 : 10;
  fmt::print("FAILED: seed {}, round {}: {}\n", settings_.choices.seed, plan.round, describe(plan));
  for (std::size_t i = 0; i < std::min(report.faults.size(), most); ++i)
    fmt::print("  {}\n", report.faults[i]);
  if (report.faults.size() > most) fmt::print("  and {} more\n", report.faults.size() - most);
}

// The volume, if one is still mounted, is copied with the rest.
void Soak::keepTree(const Plan& plan) const {
  const std::string kept =
      fmt::format("{}/failed-{}-{}", settings_.place, settings_.choices.seed, plan.round);
  fmt::print("what the program said:\n{}\n", lastLines(homeOf(plan) + "/log"));
  std::error_code error;
  fs::remove_all(kept, error);
  fs::copy(homeOf(plan), kept, fs::copy_options::recursive | fs::copy_options::copy_symlinks,
           error);
  fmt::print("the tree is kept in {}{}\n", kept, error ? ", in part" : "");
}

void Soak::tellResult() const {
  fmt::print(
      "seed {}: {} rounds, {} kills and {} of the next verb as well; {} volumes lost, {} "
      "tools left running\n",
      settings_.choices.seed, rounds_, kills_, secondKills_, lostVolumes_, leftTools_);
  fmt::print("{} folders rescued, {} devices left attached, {} trees of several states\n", rescued_,
             strays_, mixed_);
  for (const auto& [scenario, calls] : callsReached_)
    fmt::print("{}: killed after {} of {} calls\n", describe(scenario), calls.size(),
               extents_.at(scenario).calls);
  if (failures_ != 0) fmt::print("{} rounds failed\n", failures_);
  for (const auto& [what, times] : faults_) fmt::print("  {} in {} rounds\n", what, times);
}

}  // namespace soak
