#include "platform/posix/PosixBundle.h"

#include "platform/posix/FileDefaults.h"
#include "platform/posix/LocalNotifications.h"
#include "platform/posix/PosixMainLoop.h"
#include "tests/support/MainLoopCases.h"
#include "tests/support/Variables.h"

using extensions::PropertyList;

TEST(Languages, ComeFromTheLocaleThatCounts) {
  using Names = std::vector<std::string>;
  const struct {
    Variables environment;
    Names languages;
  } cases[] = {{{{"LANG", "de_CH.UTF-8@euro"}}, {"de_CH", "de"}},
               {{{"LANG", "de"}, {"LC_MESSAGES", "fr"}, {"LC_ALL", "ja"}}, {"ja"}},
               {{{"LC_ALL", ""}, {"LANG", "sr@latin"}}, {"sr"}},
               {{{"LANG", "de"}, {"LC_ALL", "C.UTF-8"}}, {}},
               {{{"LANG", "fr_FR.UTF-8"}, {"LANGUAGE", "de_AT.UTF-8:es"}}, {"de_AT", "de", "es"}},
               {{{"LANG", "fr"}, {"LANGUAGE", "ja::C:es"}}, {"ja"}},
               {{{"LC_ALL", "C.UTF-8"}, {"LANGUAGE", "de"}}, {}},
               {{{"LANGUAGE", "de"}}, {}}};
  for (const auto& each : cases)
    EXPECT_EQ(platform::preferredLanguages(environmentOf(each.environment)), each.languages);
}

TEST(PosixBundle, TakesEachTextFromTheBestLanguageThatHasIt) {
  const Scratch scratch;
  scratch.file("en.lproj/Localizable.strings",
               "\"a\" = \"en a\"; \"b\" = \"en b\"; \"c\" = \"en c\";");
  scratch.file("de.lproj/Localizable.strings", "\"a\" = \"de a\"; \"b\" = \"de b\";");
  scratch.file("de_CH.lproj/Localizable.strings", "\"a\" = \"ch a\";");
  scratch.file("de.lproj/Other.strings", "\"a\" = \"other a\";");
  scratch.file("de.lproj/Broken.strings", "\"a\" = ");
  const platform::PosixBundle bundle({"com.example.x",
                                      "/opt/x/bin/x",
                                      {{"CFBundleVersion", "7"}},
                                      scratch.path(),
                                      {"de_CH", "de"}});
  for (const auto& [key, table, text] :
       std::vector<std::array<const char*, 3>>{{"a", "", "ch a"},
                                               {"b", "", "de b"},
                                               {"c", "Localizable", "en c"},
                                               {"d", "", "d"},
                                               {"a", "Other", "other a"},
                                               {"b", "Other", "b"},
                                               {"a", "Missing", "a"},
                                               {"a", "Broken", "a"}})
    EXPECT_EQ(bundle.localizedString(key, table), text) << key << table;
  EXPECT_EQ(bundle.information("CFBundleVersion"), "7");
  EXPECT_EQ(bundle.information("CFBundleName"), std::nullopt);
}

TEST(PosixBundle, FindsWhatLiesBesideTheProgram) {
  EXPECT_EQ(platform::runningExecutable(), std::filesystem::canonical("/proc/self/exe"));
  EXPECT_EQ(platform::besideExecutable("/usr/bin/x", "share/x"), "/usr/share/x");
  EXPECT_EQ(platform::besideExecutable("/x", "share/x"), "/share/x");
}

TEST(FileDefaults, AnswersFromTheOwnListAsItIsNowAndThenFromTheShared) {
  const Scratch scratch;
  const platform::FileDefaults defaults(scratch.path("own"), scratch.path("shared"));
  const auto put = [&](const std::string& name, const PropertyList::Dictionary& values) {
    scratch.file(name, extensions::binaryPropertyList(values));
  };
  EXPECT_EQ(defaults.integer("a"), std::nullopt);
  put("shared", {{"a", 1}, {"b", 2}, {"c", "shared"}});
  EXPECT_EQ(defaults.integer("a"), 1);
  EXPECT_EQ(defaults.string("a"), std::nullopt);
  put("own", {{"b", "own"}, {"c", "own"}, {"d", 4}});
  EXPECT_EQ(defaults.integer("a"), 1);
  EXPECT_EQ(defaults.integer("b"), std::nullopt) << "another kind hides it too";
  EXPECT_EQ(defaults.string("c"), "own");
  EXPECT_EQ(defaults.integer("d"), 4);
  scratch.file("own", "damaged");
  EXPECT_EQ(defaults.string("c"), "shared");
}

TEST(FileDefaults, KeepWhatTwoProgramsWriteAtATime) {
  constexpr int kValues = 50;
  const Scratch scratch;
  const auto write = [&](const std::string& name) {
    platform::FileDefaults own(scratch.path("own"));
    for (int i = 0; i < kValues; ++i) EXPECT_TRUE(own.setInteger(name + std::to_string(i), i));
  };
  std::thread other(write, "other");
  write("this");
  other.join();
  const platform::FileDefaults all(scratch.path("own"));
  for (const std::string name : {"this", "other"})
    for (int i = 0; i < kValues; ++i) EXPECT_EQ(all.integer(name + std::to_string(i)), i) << name;
}

using platform::PosixMainLoop;

namespace loops {
INSTANTIATE_TEST_SUITE_P(Posix, MainLoopCases, testing::Values(make<PosixMainLoop>));
}

TEST(LocalNotifications, ReachObserversOfTheNameOnTheMainThread) {
  const auto loop = std::make_shared<PosixMainLoop>();
  platform::LocalNotifications center(loop);
  std::vector<std::string> seen;
  const auto note = [&](const char* who) {
    return [&seen, loop, who](const platform::Notification& one) {
      EXPECT_TRUE(loop->isMainThread());
      seen.push_back(std::string(who) + one.object + one.userInfo.at("key"));
    };
  };
  center.observe("name", note("first"));
  platform::Notifications::ObserverId removed = 0;
  const auto second = center.observe("name", [&](const platform::Notification& one) {
    note("second")(one);
    center.remove(removed);  // whose turn would come next
  });
  removed = center.observe("name", note("removed"));
  center.observe("other", note("other"));
  const auto gone = center.observe("name", note("gone"));
  std::thread([&] { center.post({"name", "A", {{"key", "1"}}}); }).join();
  center.remove(gone);  // before it is delivered
  center.post({"name", "B", {{"key", "2"}}});
  center.post({"none", "C", {}});
  loop->post([&] { center.remove(second); });
  loop->post([&] { center.post({"name", "D", {{"key", "3"}}}); });
  loop->post([&] { loop->post([&] { loop->stop(); }); });
  loop->run();
  EXPECT_EQ(seen,
            (std::vector<std::string>{"firstA1", "secondA1", "firstB2", "secondB2", "firstD3"}));
}
