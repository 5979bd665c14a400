#include <algorithm>
#include <functional>

#include "tests/resources/Tables.h"

namespace {

constexpr char kNoBreakSpace[] = "\u00a0";

std::set<std::string> keysOf(const Texts& texts) {
  std::set<std::string> keys;
  for (const auto& [key, text] : texts) keys.insert(key);
  return keys;
}

// Runs `check` on every table of every language, with its name in each failure.
void forEveryTable(const std::function<void(const std::string& language, const std::string& table,
                                            const Texts& texts)>& check) {
  for (const auto& language : kLanguages) {
    for (const auto& table : kTables) {
      SCOPED_TRACE(testing::Message() << language << " " << table);
      check(language, table, textsOf(language, table));
    }
  }
}

// What stands for a value that is put in, in order: "%@" and the forms of printf.
std::vector<std::string> placeholders(const std::string& text) {
  static const std::regex pattern("%[-+#0-9.]*l*[@a-z]");
  return matches(text, pattern);
}

TEST(Tables, AreThereForEveryLanguage) {
  std::set<std::string> languages;
  for (const auto& folder : std::filesystem::directory_iterator(kResources)) {
    if (folder.path().extension() == ".lproj") languages.insert(folder.path().stem());
  }
  EXPECT_EQ(languages, kLanguages);
}

TEST(Tables, HaveTheSameKeysEachOnce) {
  static const std::regex entry(R"re((^|\n)"(?:[^"\\]|\\.)*" = ")re");
  forEveryTable([](const auto& language, const auto& table, const Texts& texts) {
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(keysOf(texts), keysOf(textsOf("en", table)));
    EXPECT_EQ(matches(readFile(tableFile(language, table)), entry).size(), texts.size());
  });
}

// Every language takes the same values in the same order as English, and English as the key where
// that is a text itself. No key named after code is shown.
TEST(Tables, TakeTheValuesOfTheirKeys) {
  static const std::regex code("^(QVRamDisk|LOC_)");
  forEveryTable([](const auto&, const auto& table, const Texts& texts) {
    const auto english = textsOf("en", table);
    for (const auto& [key, text] : texts) {
      const auto& model = std::regex_search(key, code) ? english.at(key) : key;
      EXPECT_EQ(placeholders(text), placeholders(model)) << key;
      EXPECT_EQ(std::count(text.begin(), text.end(), '\n'),
                std::count(model.begin(), model.end(), '\n'))
          << key;
      EXPECT_FALSE(text.empty() || std::regex_search(text, code)) << key;
    }
  });
}

// Translated but for what is the same word in both languages.
TEST(Tables, AreTranslated) {
  for (const std::string language : {"de", "es", "fr", "ja"}) {
    for (const std::string table : {"Localizable", "QVRamDiskLocalizable"}) {
      for (const auto& [key, text] : textsOf(language, table)) {
        const bool isSentence = std::count(key.begin(), key.end(), ' ') > 1;
        EXPECT_FALSE(isSentence && text == key) << language << ": " << key;
      }
    }
  }
}

// A size is taken apart at its one space, so that whole numbers lose their decimals.
TEST(Tables, KeepNumberSpaceUnitInSizes) {
  static const std::regex format("%\\.[0-2]f [KMGT][Bo]");
  static const std::regex word("[^ ]+ [^ ]+");
  for (const auto& language : kLanguages) {
    for (const auto& [key, text] : textsOf(language, "QVFunctions")) {
      EXPECT_TRUE(std::regex_match(text, key.starts_with('%') ? format : word))
          << language << ": " << text;
      EXPECT_EQ(text.find(kNoBreakSpace), std::string::npos) << language << ": " << text;
    }
  }
}

// A line does not begin with a colon, nor end with an opening quotation mark.
TEST(Tables, HoldFrenchPunctuationTogether) {
  static const std::regex fault(" [:;!?]| »|« ");
  for (const auto& table : kTables) {
    for (const auto& [key, text] : textsOf("fr", table))
      EXPECT_FALSE(std::regex_search(text, fault)) << text;
  }
  const auto disks = textsOf("fr", "QVRamDiskLocalizable");
  EXPECT_EQ(disks.at("LOC_:"), std::string(kNoBreakSpace) + ":");
}

// Every key that the engine writes out where it looks the text up is there for translators, in all
// languages. Keys are compared up to their first line break or escape.
TEST(Tables, CoverTheKeysInTheSources) {
  static const std::regex lookup(
      R"re((?:QVLocalized(?:Format)?|says(?:OfDisk)?)\(\s*"([^"\\]+))re");
  std::size_t seen = 0;
  for (const auto& language : kLanguages) {
    std::set<std::string> known;
    for (const auto& table : kTables) known.merge(keysOf(textsOf(language, table)));
    for (const auto& file : std::filesystem::recursive_directory_iterator(kSourceTree / "src")) {
      if (file.path().extension() != ".cpp") continue;
      for (const auto& beginning : matches(readFile(file.path()), lookup, 1)) {
        const auto key = known.lower_bound(beginning);
        EXPECT_TRUE(key != known.end() && key->starts_with(beginning))
            << language << ", " << file.path().filename() << ": " << beginning;
        ++seen;
      }
    }
  }
  EXPECT_GT(seen, 100U);
}

}  // namespace
