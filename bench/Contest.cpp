#include "Contest.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace bench {
namespace {

using Times = std::vector<std::vector<double>>;  // of each contestant

void call(const std::function<void()>& step) {
  if (step) step();
}

double runOnce(const Contestant& contestant) {
  call(contestant.prepare);
  sync();
  const double time = seconds(contestant.work);
  call(contestant.clear);
  return time;
}

Times timesOf(const Contest& contest) {
  const std::size_t count = contest.contestants.size();
  Times times(count);
  for (int round = 0; round < contest.runs; ++round) {
    call(contest.beforeRound);
    for (std::size_t turn = 0; turn < count; ++turn) {
      const std::size_t each = (static_cast<std::size_t>(round) + turn) % count;
      times[each].push_back(runOnce(contest.contestants[each]));
    }
  }
  return times;
}

std::string aim(const Contestant& contestant) {
  return contestant.atLeast > 0 ? fmt::format("{:.2g}", contestant.atLeast) : "";
}

}  // namespace

std::string hold(const Contest& contest) {
  const Times times = timesOf(contest);
  std::string table = fmt::format(
      "## {}\n\n| with | median | fastest to slowest of {} | times as long | aim |\n"
      "|---|---|---|---|---|\n",
      contest.title, contest.runs);
  for (std::size_t i = 0; i < times.size(); ++i) {
    const auto [fastest, slowest] = std::minmax_element(times[i].begin(), times[i].end());
    table += fmt::format("| {} | {:.4f} s | {:.4f} to {:.4f} s | {:.2f} | {} |\n",
                         contest.contestants[i].name, median(times[i]), *fastest, *slowest,
                         median(times[i]) / median(times[0]), aim(contest.contestants[i]));
  }
  fmt::print(stderr, "{}\n", table);
  return table + "\n";
}

double seconds(const std::function<void()>& work) {
  const auto began = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

}  // namespace bench
