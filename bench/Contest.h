#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

inline constexpr int kRuns = 5;

// One way to do a piece of work. Only `work` is timed; `prepare` and `clear` stand around it.
struct Contestant {
  std::string name;
  std::function<void()> work;
  std::function<void()> prepare = {};
  std::function<void()> clear = {};
  double atLeast = 0;  // how many times as long it should take; 0: nothing is aimed at
};

// The first contestant is the one that the others are held against.
struct Contest {
  std::string title;
  std::vector<Contestant> contestants;
  std::function<void()> beforeRound = {};
  int runs = kRuns;
};

// Every contestant once in each round, in turns at the front, so that drift meets all alike. Gives
// a table of medians and ratios. What is left to be written of other files is on disk before each
// timed piece.
std::string hold(const Contest& contest);

double seconds(const std::function<void()>& work);
double median(std::vector<double> values);

}  // namespace bench
