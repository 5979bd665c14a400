#include "tests/soak/Plan.h"

#include <fmt/format.h>

#include <numeric>

namespace soak {
namespace {

constexpr std::uint64_t kSlots = 4;  // one of which is for backup folders, or for kills by time

// Of every four the first three are of one sort: how many of it came before.
std::uint64_t amongThree(std::uint64_t number) {
  return number / kSlots * (kSlots - 1) + number % kSlots;
}

// Steps of about the golden section through the calls reach each of them once before any twice,
// and are well spread however few are taken.
std::uint64_t callInTurn(std::uint64_t number, std::uint64_t offset, std::uint64_t calls) {
  constexpr std::uint64_t kGolden = 618;
  constexpr std::uint64_t kThousand = 1000;
  std::uint64_t step = calls * kGolden / kThousand + 1;
  while (std::gcd(step, calls) != 1) ++step;
  return 1 + (offset + number * step) % calls;
}

KillPoint someTime(const Extent& extent, Random& random) {
  const auto most = static_cast<std::uint64_t>(extent.time.count()) + 1;
  return {std::nullopt, Microseconds(random.below(most)), random.oneIn(2)};
}

KillPoint pointOf(std::uint64_t number, std::uint64_t seed, const Extent& extent, Random& random) {
  if (number % kSlots == kSlots - 1) return someTime(extent, random);
  const auto call = callInTurn(amongThree(number), seed % extent.calls, extent.calls);
  return {call, {}, random.oneIn(2)};
}

KillPoint someCall(const Extent& extent, Random& random) {
  return {1 + random.below(extent.calls), {}, random.oneIn(2)};
}

std::string someNext(Random& random) {
  if (random.below(3) != 0) return "recover";
  constexpr std::array<const char*, 4> kVerbs = {"create", "create", "eject", "rebuild"};
  return kVerbs[random.below(kVerbs.size())];
}

std::string describe(const KillPoint& point) {
  const std::string tools = point.toolsToo ? " with its tool" : "";
  if (point.afterCall) return fmt::format("after call {}{}", *point.afterCall, tools);
  return fmt::format("after {} us{}", point.afterTime.count(), tools);
}

}  // namespace

std::vector<Scenario> scenarios() {
  std::vector<Scenario> all;
  for (const bool inBackupFolder : {false, true})
    for (const Act act : {Act::Create, Act::Save, Act::Eject, Act::Rebuild, Act::CreateAfterLoss,
                          Act::RecoverAfterLoss})
      all.push_back({act, inBackupFolder});
  return all;
}

Plan measuring(const Scenario& scenario, bool calls) {
  constexpr Microseconds kNever = std::chrono::minutes(10);
  Plan plan;
  plan.scenario = scenario;
  plan.point = calls ? KillPoint{0, {}, false} : KillPoint{std::nullopt, kNever, false};
  plan.next = "create";
  return plan;
}

Plan planOf(std::uint64_t round, std::uint64_t seed, const Extents& extents, Random& random) {
  constexpr std::uint64_t kPercentOnDisk = 5;
  const auto all = scenarios();
  const std::uint64_t acts = all.size() / 2;
  const std::uint64_t turn = round / acts;
  Plan plan;
  plan.round = round;
  const bool inBackupFolder = turn % kSlots == kSlots - 1;
  plan.scenario = all[round % acts + (inBackupFolder ? acts : 0)];
  const Extent& extent = extents.at(plan.scenario);
  plan.point = pointOf(inBackupFolder ? turn / kSlots : amongThree(turn), seed, extent, random);
  plan.savesBefore = random.oneIn(3);
  plan.loses = random.oneIn(4);
  plan.worksOn = random.oneIn(3);
  plan.next = someNext(random);
  const Act next = plan.next == "recover" ? Act::RecoverAfterLoss : Act::Create;
  if (random.oneIn(3)) plan.second = someCall(extents.at({next, inBackupFolder}), random);
  plan.losesAgain = plan.second && random.oneIn(4);
  plan.onDisk = random.below(100) < kPercentOnDisk;
  return plan;
}

std::string describe(const Scenario& scenario) {
  constexpr std::array<const char*, 6> kActs = {
      "create", "save", "eject", "rebuild", "create after a loss", "recover after a loss"};
  return fmt::format("{}, {}", kActs[static_cast<std::size_t>(scenario.act)],
                     scenario.inBackupFolder ? "backup folder" : "base");
}

std::string describe(const Plan& plan) {
  std::string text = fmt::format("{} killed {}", describe(plan.scenario), describe(plan.point));
  if (plan.savesBefore) text += ", saved once before";
  if (plan.loses) text += ", volume lost";
  if (plan.worksOn) text += ", work goes on";
  text += ", then " + plan.next;
  if (plan.second) text += " killed " + describe(*plan.second);
  if (plan.losesAgain) text += ", volume lost again";
  if (plan.onDisk) text += ", on a real disk";
  return text;
}

}  // namespace soak
