#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "tests/soak/Plan.h"
#include "tests/soak/Round.h"

namespace soak {

struct Settings {
  Choices choices;
  std::uint64_t kills = 500;
  std::optional<std::uint64_t> only;  // this round alone
  std::string program;
  std::string broken;       // the mistake that the program is to make, "" for none
  std::string place;        // on a real file system: for some rounds, and for what failed
  bool keepsGoing = false;  // over failures, and counts them
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
  std::map<std::string, unsigned> faults_;  // by scenario and sort of the fault
  std::uint64_t rounds_ = 0;
  std::uint64_t kills_ = 0;
  std::uint64_t secondKills_ = 0;
  std::uint64_t lostVolumes_ = 0;
  std::uint64_t leftTools_ = 0;
  std::uint64_t rescued_ = 0;
  std::uint64_t strays_ = 0;
  std::uint64_t mixed_ = 0;
  std::uint64_t failures_ = 0;
  bool hasLostFiles_ = false;  // in any round
};

}  // namespace soak
