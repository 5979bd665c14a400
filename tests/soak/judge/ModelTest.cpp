// The judge of the kill test must itself be right: it is shown every sort of damage.

#include "tests/soak/Model.h"

#include <gtest/gtest.h>

#include <functional>

using soak::Found;
using soak::Model;
using soak::textOf;
using soak::Tree;

namespace {

constexpr std::size_t kSize = 10'000;

const Tree kSaved = {{"a", {1, 1, kSize}}, {"b/c", {2, 1, kSize}}, {"gone", {3, 1, 40}}};
// One file was rewritten, one renamed and rewritten, one deleted, one made.
const Tree kChanged = {{"a", {1, 4, kSize}}, {"b/d", {2, 5, kSize}}, {"new", {6, 6, 0}}};

Found foundIn(const Tree& tree) {
  Found found;
  for (const auto& [path, content] : tree) found[path] = textOf(content);
  return found;
}

Model changedModel() {
  Model model(kSaved);
  model.became(kChanged);
  return model;
}

// After a loss that is every whole file of several states, as long as none was saved since.
TEST(KillTestModel, KnowsWhatIsGoodEnough) {
  Found mixed = foundIn(kChanged);
  for (const char* name : {"a", "gone"}) mixed[name] = textOf(kSaved.at(name));
  Model model = changedModel();
  EXPECT_TRUE(model.judge(foundIn(kChanged), false).empty());
  EXPECT_TRUE(model.judge(foundIn(kChanged), true).empty());
  EXPECT_TRUE(model.judge(foundIn(kSaved), true).empty());
  EXPECT_FALSE(model.judge(foundIn(kSaved), false).empty()) << "the volume had the newest";
  EXPECT_TRUE(model.judge(mixed, true).empty());
  EXPECT_FALSE(model.judge(mixed, false).empty());
  model.saved();
  EXPECT_FALSE(model.judge(foundIn(kSaved), true).empty()) << "the newest was saved";
}

TEST(KillTestModel, FindsEverySortOfDamage) {
  const std::pair<const char*, std::function<void(Found&)>> damages[] = {
      {"torn or old", [](Found& found) { found["a"].resize(kSize / 2); }},
      {"torn or old", [](Found& found) { found["a"].clear(); }},
      {"torn or old", [](Found& found) { found["a"].replace(kSize / 2, 5, std::string(5, '\0')); }},
      {"torn or old", [](Found& found) { found["a"] += "x"; }},
      {"torn or old",
       [](Found& found) {
         found["a"].replace(kSize / 2, kSize / 4, textOf({1, 1, kSize}), kSize / 2, kSize / 4);
       }},
      {"torn or old",
       [](Found& found) { found["a"] = textOf({.file = 1, .version = 3, .size = kSize}); }},
      {"torn or old",
       [](Found& found) { found["a"] = textOf({.file = 2, .version = 5, .size = kSize}); }},
      {"foreign", [](Found& found) { found["marker"] = ""; }},
      {"lost", [](Found& found) { found.erase("a"); }},
      {"lost", [](Found& found) { found.erase("b/d"); }},
      {"lost", [](Found& found) { found.clear(); }},
  };
  for (const bool lost : {false, true})
    for (const auto& [sort, damage] : damages) {
      Found found = foundIn(kChanged);
      damage(found);
      const auto faults = changedModel().judge(found, lost);
      ASSERT_FALSE(faults.empty()) << sort;
      EXPECT_TRUE(faults.front().starts_with(sort)) << faults.front();
    }
}

}  // namespace
