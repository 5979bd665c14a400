#pragma once
// What happens in a round, decided from a seed and the round's number.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/soak/Program.h"

namespace soak {

// Everything that is left to chance in one round, from a seed and the round's number alone.
class Random {
 public:
  Random(std::uint64_t seed, std::uint64_t round)
      : engine_(seed * 0x9E3779B97F4A7C15ULL + round * 0xD1B54A32D192ED03ULL) {}

  // 0 to most - 1; `most` is not 0.
  std::uint64_t below(std::uint64_t most) { return engine_() % most; }
  bool oneIn(std::uint64_t times) { return below(times) == 0; }

 private:
  std::mt19937_64 engine_;
};

enum class Act { Create, Save, Eject, Rebuild, CreateAfterLoss, RecoverAfterLoss };

// What is killed, and where the disk keeps its contents.
struct Scenario {
  Act act = Act::Create;
  bool inBackupFolder = false;  // else in its base

  auto operator<=>(const Scenario&) const = default;
};

// How long a scenario's act is when nobody kills it.
struct Extent {
  std::uint64_t calls = 0;
  Microseconds time{0};
};
using Extents = std::map<Scenario, Extent>;

struct Plan {
  std::uint64_t round = 0;
  Scenario scenario;
  KillPoint point;
  bool savesBefore = false;         // the act finds a generation of the volume's own
  bool loses = false;               // the volume, after the kill
  bool worksOn = false;             // where the volume is still mounted after the kill
  std::string next;                 // the verb that comes after the kill
  std::optional<KillPoint> second;  // where that one is killed too
  bool losesAgain = false;
  bool onDisk = false;  // on a real file system instead of one in memory
};

// Every scenario there is.
std::vector<Scenario> scenarios();

// A round that measures the scenario, its calls or its time: nothing is killed.
Plan measuring(const Scenario& scenario, bool calls);

// Three of four kills count calls, and reach each call of each scenario in turn; the others strike
// at some time.
Plan planOf(std::uint64_t round, std::uint64_t seed, const Extents& extents, Random& random);

// One line for a report.
std::string describe(const Plan& plan);
std::string describe(const Scenario& scenario);

}  // namespace soak
