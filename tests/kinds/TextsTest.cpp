#include <regex>
#include <set>

#include "tests/kinds/World.h"

namespace {

std::vector<std::string> matches(const std::string& text, const std::regex& pattern, int group) {
  const std::sregex_token_iterator first(text.begin(), text.end(), pattern, group);
  return std::vector<std::string>(first, std::sregex_token_iterator());
}

// A translation takes the same values in the same order, and no key named after code is shown.
TEST(Texts, FitTheirKeys) {
  const std::regex placeholder("%[.0-9]*[@df]");
  for (const std::string table : {"Localizable", "QVFunctions", "QVRamDiskLocalizable"}) {
    const auto texts = englishTexts(table);
    ASSERT_FALSE(texts.empty()) << table;
    for (const auto& [key, text] : texts) {
      EXPECT_EQ(matches(key, placeholder, 0), matches(text, placeholder, 0)) << key;
      EXPECT_FALSE(text.empty() || text.starts_with("QVRamDisk") || text.starts_with("LOC_"))
          << key;
    }
  }
}

// Every key that the engine writes out where it looks the text up is there for translators. Keys
// are compared up to their first line break or escape.
TEST(Texts, CoverTheKeysInTheSources) {
  std::set<std::string> known;
  for (const std::string table : {"Localizable", "QVFunctions", "QVRamDiskLocalizable"}) {
    const auto texts = englishTexts(table);
    for (const auto& [key, text] : texts) known.insert(key);
  }
  const std::regex lookup(R"re(QVLocalized(?:Format)?\(\s*"([^"\\]+))re");
  std::size_t seen = 0;
  for (const auto& file : std::filesystem::recursive_directory_iterator(kSourceTree / "src")) {
    if (file.path().extension() != ".cpp") continue;
    for (const auto& beginning : matches(readFile(file.path()), lookup, 1)) {
      const auto key = known.lower_bound(beginning);
      EXPECT_TRUE(key != known.end() && key->starts_with(beginning))
          << file.path().filename() << ": " << beginning;
      ++seen;
    }
  }
  EXPECT_GT(seen, 10U);
}

}  // namespace
