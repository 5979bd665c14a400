#include "extensions/StringsFile.h"

#include "tests/extensions/HandMadeList.h"
#include "tests/support/Test.h"

namespace extensions {
namespace {

using Entries = std::map<std::string, std::string>;

TEST(StringsFile, Reads) {
  const std::vector<std::pair<std::string, Entries>> cases = {
      {"", {}},
      {" /* only */ // this", {}},
      {"\"a\" = \"b\";\n\"c\"=\"d\";", {{"a", "b"}, {"c", "d"}}},
      {"/* \"x\" = \"y\"; */ key.1 = /* z */ com.a/b-c_$:; // end", {{"key.1", "com.a/b-c_$:"}}},
      {"'a' = 'say \"b\"'; alone;", {{"a", "say \"b\""}, {"alone", "alone"}}},
      {R"("q\"\\" = "\n\t\r\a\/";)", {{"q\"\\", "\n\t\r\a/"}}},
      {R"(a = "\U00e9\Ud83d\Ude00x\u0041\101\0012";)", {{"a", "é😀xAA\x01\x32"}}},
      {"a = \"/* kept */ // too\nline\";", {{"a", "/* kept */ // too\nline"}}},
      {"a = b; a = c;", {{"a", "c"}}},
      {"\xEF\xBB\xBF\"é\" = \"😀\";", {{"é", "😀"}}},
      {bytes("\xFE\xFF\0a\0=\0\"\0\xE9\xD8\x3D\xDE\0\0\"\0;"), {{"a", "é😀"}}},
      {bytes("\xFF\xFE"
             "a\0=\0b\0;\0"),
       {{"a", "b"}}},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(parseStringsFile(text), expected) << text;
}

TEST(StringsFile, RefusesMalformedTexts) {
  for (const std::string text :
       {"a", "a =", "a = ;", "a = b", "a b;", "= b;", "\"a", "\"a\" = \"b\" \"c\";", "a = \"\\",
        ";", "a = \"\\U12\";", "a = \"\\U12g4\";", "/* open", "a = b /;", "a = (b);", "{a = b;}",
        "a = \"\xFF\";", "\xFE\xFF\x61", "\xFE\xFF\x01\x3B"}) {
    EXPECT_EQ(parseStringsFile(text), std::nullopt) << text;
  }
}

TEST(StringsFile, WritesALineForEachEntry) {
  EXPECT_EQ(stringsFileText({{"identifier", "A-1"}, {"deviceNode", "/dev/disk4"}}),
            "\"deviceNode\" = \"/dev/disk4\";\n\"identifier\" = \"A-1\";\n");
  EXPECT_EQ(stringsFileText({}), "");
  const Entries odd = {{"", ""}, {"q\"\\", "a\nb\r\tc\x01\x7F"}, {"é", "😀 = ; // /* x"}};
  EXPECT_EQ(parseStringsFile(stringsFileText(odd)), odd);
}

}  // namespace
}  // namespace extensions
