// Kills the program again and again, and looks whether anything was lost.

#include <fmt/format.h>
#include <sys/mount.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>

#include "tests/soak/Round.h"
#include "tests/support/PrivateNamespace.h"
#include "tests/support/Scratch.h"

namespace soak {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kTellEvery = 100;  // kills

std::string realDisk() { return fs::temp_directory_path().string() + "/real"; }

// Several runs may share the disk.
std::string ownPlace() { return realDisk() + "/run-" + std::to_string(getpid()); }

// The build may lie below a directory over which no disk may be mounted.
void showRealDisk() {
  fs::create_directories(TARNVALE_SOAK_PLACE);
  fs::create_directory(realDisk());
  if (mount(TARNVALE_SOAK_PLACE, realDisk().c_str(), nullptr, MS_BIND, nullptr) != 0)
    throw std::runtime_error("cannot reach " TARNVALE_SOAK_PLACE);
}

std::string lastLines(const std::string& file) {
  constexpr std::size_t kMost = 3000;
  const std::string text = readFile(file);
  return text.size() > kMost ? text.substr(text.size() - kMost) : text;
}

struct Settings {
  std::uint64_t seed = std::random_device()();
  std::uint64_t kills = 500;
  std::optional<std::uint64_t> only;  // this round alone
  std::string broken;                 // the mistake that the program is to make, "" for none
};

// All the rounds. In a private mount namespace.
class Soak {
 public:
  explicit Soak(Settings settings) : settings_(std::move(settings)) {}

  int run();  // the exit status; a program that is broken on purpose must be caught

 private:
  bool measureAll();
  std::optional<Outcome> measure(const Scenario& scenario, bool calls);
  void runRounds();
  void runRound(std::uint64_t number);
  Report perform(const Plan& plan, Random& random);
  std::string homeOf(const Plan& plan) const;
  void count(const Plan& plan, const Report& report);
  void tellFaults(const Plan& plan, const Report& report) const;
  void keepTree(const Plan& plan) const;
  void tellResult() const;

  Settings settings_;
  Extents extents_;
  std::map<Scenario, std::set<std::uint64_t>> callsReached_;
  std::uint64_t rounds_ = 0;
  std::uint64_t kills_ = 0;
  std::uint64_t secondKills_ = 0;
  std::uint64_t lostVolumes_ = 0;
  std::uint64_t rescued_ = 0;
  std::uint64_t strays_ = 0;
  bool hasFailed_ = false;     // any round
  bool hasLostFiles_ = false;  // in one that failed
};

int Soak::run() {
  adoptOrphans();
  showRealDisk();
  fmt::print("seed {}\n", settings_.seed);
  if (!measureAll()) return 1;
  if (settings_.only)
    runRound(*settings_.only);
  else
    runRounds();
  tellResult();
  std::error_code ignored;
  fs::remove_all(ownPlace(), ignored);
  return settings_.broken.empty() ? hasFailed_ : !hasLostFiles_;
}

// Faults that cost no file do not show that a broken program was seen through.
void Soak::runRounds() {
  while (kills_ < settings_.kills && !(settings_.broken.empty() ? hasFailed_ : hasLostFiles_))
    runRound(rounds_);
}

// A program that is not killed must do well, or nothing can be said about one that is.
std::optional<Outcome> Soak::measure(const Scenario& scenario, bool calls) {
  const Plan plan = measuring(scenario, calls);
  Random random(settings_.seed, 0);
  Report report = perform(plan, random);
  if (calls && report.act.calls == 0) report.faults.emplace_back("stuck: no call was counted");
  if (report.faults.empty()) return report.act;
  tellFaults(plan, report);
  keepTree(plan);
  return std::nullopt;
}

bool Soak::measureAll() {
  for (const Scenario& scenario : scenarios()) {
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
  return Round(TARNVALE_PROGRAM, plan, homeOf(plan), random).run();
}

void Soak::runRound(std::uint64_t number) {
  Random random(settings_.seed, number + 1);
  const Plan plan = planOf(number, settings_.seed, extents_, random);
  const Report report = perform(plan, random);
  count(plan, report);
  if (report.faults.empty()) return;
  tellFaults(plan, report);
  if (!std::exchange(hasFailed_, true)) keepTree(plan);
}

void Soak::count(const Plan& plan, const Report& report) {
  ++rounds_;
  kills_ += report.act.killed ? 1 : 0;
  secondKills_ += report.secondKill ? 1 : 0;
  lostVolumes_ += report.lostVolume ? 1 : 0;
  rescued_ += report.rescued;
  strays_ += report.strays;
  if (report.act.killed && plan.point.afterCall)
    callsReached_[plan.scenario].insert(*plan.point.afterCall);
  hasLostFiles_ = hasLostFiles_ ||
                  std::any_of(report.faults.begin(), report.faults.end(), [](const auto& fault) {
                    return fault.starts_with("lost:") || fault.starts_with("torn or old:");
                  });
  if (report.act.killed && kills_ % kTellEvery == 0) fmt::print("{} kills\n", kills_);
}

void Soak::tellFaults(const Plan& plan, const Report& report) const {
  constexpr std::size_t kMost = 10;
  fmt::print("FAILED: seed {}, round {}: {}\n", settings_.seed, plan.round, describe(plan));
  for (std::size_t i = 0; i < std::min(report.faults.size(), kMost); ++i)
    fmt::print("  {}\n", report.faults[i]);
  if (report.faults.size() > kMost) fmt::print("  and {} more\n", report.faults.size() - kMost);
}

// The volume, if one is still mounted, is copied with the rest.
void Soak::keepTree(const Plan& plan) const {
  const std::string kept =
      fmt::format("{}/failed-{}-{}", TARNVALE_SOAK_PLACE, settings_.seed, plan.round);
  fmt::print("what the program said:\n{}\n", lastLines(homeOf(plan) + "/log"));
  std::error_code error;
  fs::remove_all(kept, error);
  fs::copy(homeOf(plan), kept, fs::copy_options::recursive | fs::copy_options::copy_symlinks,
           error);
  fmt::print("the tree is kept in {}{}\n", kept, error ? ", in part" : "");
}

void Soak::tellResult() const {
  fmt::print("seed {}: {} rounds, {} kills and {} of the next verb as well; {} volumes lost\n",
             settings_.seed, rounds_, kills_, secondKills_, lostVolumes_);
  fmt::print("{} folders rescued, {} devices left attached\n", rescued_, strays_);
  for (const auto& [scenario, calls] : callsReached_)
    fmt::print("{}: killed after {} of {} calls\n", describe(scenario), calls.size(),
               extents_.at(scenario).calls);
}

// What this process starts itself is not concerned: the library knows only the program's names.
void breakProgram(const std::string& how) {
  setenv("TARNVALE_BROKEN", how.c_str(), 1);
  setenv("LD_PRELOAD", TARNVALE_BROKEN_LIBRARY, 1);
}

int runSoak(const Settings& settings) {
  try {
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
                             "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"})
      unsetenv(name);
    setenv("ASAN_OPTIONS", "detect_leaks=0", 0);  // which cannot be done under a tracer
    if (!settings.broken.empty()) breakProgram(settings.broken);
    return Soak(settings).run();
  } catch (const std::exception& error) {
    fmt::print(stderr, "{}\n", error.what());
    return 2;
  }
}

}  // namespace
}  // namespace soak

int main(int argc, char** argv) {
  soak::Settings settings;
  CLI::App app("Kills tarnvale at every point and checks that no file is lost.", "tarnvale-soak");
  app.add_option("--seed", settings.seed, "Repeats the rounds of a run");
  app.add_option("--kills", settings.kills, "How many kills there are to be");
  app.add_option("--only", settings.only, "Only the round of this number");
  app.add_option("--broken", settings.broken, "Makes the program err, which must be found")
      ->check(CLI::IsMember({"no-previous", "no-refill-mark", "no-incomplete-mark"}));
  CLI11_PARSE(app, argc, argv);
  setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  return runInPrivateNamespace([&] { return soak::runSoak(settings); });
}
