// The letters that choose the fields and buttons of the settings window, in every language.

#include <algorithm>
#include <cctype>

#include "tests/resources/Tables.h"

namespace {

using Page = std::vector<std::string>;  // the sources that lay out one page

const std::vector<Page> kPages = {{"DisksPage_Layout.cpp", "DiskForm.cpp"}, {"GeneralPage.cpp"}};

// The keys with a letter that a page looks up.
std::vector<std::string> keysOf(const Page& page) {
  static const std::regex lookup(R"re(QVLocalized\(\s*"([^"\\]*&[^"\\ ][^"\\]*)")re");
  std::vector<std::string> keys;
  for (const auto& source : page) {
    const auto found =
        matches(readFile(kSourceTree / "src/platform/qt/settings" / source), lookup, 1);
    keys.insert(keys.end(), found.begin(), found.end());
  }
  return keys;
}

// The letter of a text, 0 unless it has one that every keyboard has.
int letterOf(const std::string& text) {
  const auto mark = text.find('&');
  if (mark == std::string::npos || std::count(text.begin(), text.end(), '&') != 1) return 0;
  const auto letter = static_cast<unsigned char>(text.c_str()[mark + 1]);
  return std::isalpha(letter) ? std::tolower(letter) : 0;
}

TEST(Mnemonics, ChooseOneFieldOfAPage) {
  for (const auto& language : kLanguages) {
    const auto texts = textsOf(language, "Localizable");
    for (const auto& page : kPages) {
      const auto keys = keysOf(page);
      EXPECT_GE(keys.size(), 4U) << page.front();
      std::set<int> letters;
      for (const auto& key : keys) {
        ASSERT_TRUE(texts.contains(key)) << language << ": " << key;
        const int letter = letterOf(texts.at(key));
        EXPECT_TRUE(letter != 0 && letters.insert(letter).second)
            << language << ": " << texts.at(key);
      }
    }
  }
}

}  // namespace
