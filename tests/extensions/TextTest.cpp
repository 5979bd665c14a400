#include "extensions/Text.h"

#include "tests/support/Test.h"

namespace extensions {
namespace {

using CharacterClass = bool (*)(char32_t);

std::u32string without(CharacterClass isMember, const std::u32string& characters) {
  std::u32string others;
  for (const char32_t c : characters) {
    if (!isMember(c)) others += c;
  }
  return others;
}

TEST(Text, ClassesOfCharacters) {
  std::u32string printable;
  for (char32_t c = 0x20; c < 0x7F; ++c) printable += c;
  EXPECT_EQ(printable.size() - without(isSymbolCharacter, printable).size(), 9U);
  const struct {
    CharacterClass isMember;
    std::u32string members;
    std::u32string others;
  } cases[] = {
      {isSymbolCharacter, U"+$^~=<>|`€©😀¨", U"-_.,!@#%&*()[]{}é中"},
      {isControlCharacter, U"\x1F\x7F\x9F\xAD\x200D\xFEFF\xE0020", printable + U"é中😀"},
      {isNewlineCharacter, U"\n\v\f\r\x85\x2028\x2029", printable + U"\t\x1F"},
      {isIllegalCharacter, U"\xFFFE\xFDD0\x378\xD800\x10FFFF\x110000",
       printable + U"\n\xE000é中😀\x301"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(without(each.isMember, each.members), U"");
    EXPECT_EQ(without(each.isMember, each.others), each.others);
  }
}

TEST(Text, CodePointsAndUnits) {
  EXPECT_EQ(codePoints("hé😀"), U"hé😀");
  EXPECT_EQ(utf16Length("hé😀"), 4U);
  EXPECT_EQ(utf8FromUtf16(utf16FromUtf8("hé😀\U0010FFFF")), "hé😀\U0010FFFF");
  for (const char* invalid : {"\xFF", "a\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
    EXPECT_FALSE(isValidUtf8(invalid));
    EXPECT_EQ(codePoints(invalid), std::nullopt);
    EXPECT_EQ(utf16FromUtf8(invalid).back(), u'\uFFFD');
  }
}

TEST(Text, TrimsBothEnds) {
  EXPECT_EQ(trimmedWhitespace(" \t\u00A0\u3000a b\u2003 "), "a b");
  EXPECT_EQ(trimmedWhitespace("\n a \n"), "\n a \n");
  EXPECT_EQ(trimmedWhitespaceAndNewlines(" \r\n\u0085\u2028a\n\tb\f\v\u2029 "), "a\n\tb");
  EXPECT_EQ(trimmedWhitespaceAndNewlines(" \n "), "");
  EXPECT_EQ(trimmedWhitespace(" \xFF "), "\xFF");
}

std::vector<std::string> pieces(std::string_view text,
                                TextRange (*at)(std::string_view, std::size_t)) {
  std::vector<std::string> all;
  for (std::size_t position = 0; position < text.size();) {
    const TextRange range = at(text, position);
    EXPECT_EQ(range.start, position);
    all.emplace_back(text.substr(range.start, range.contentsEnd - range.start));
    position = range.end;
  }
  return all;
}

TEST(Text, ParagraphsAndLines) {
  using Pieces = std::vector<std::string>;
  const struct {
    std::string text;
    Pieces paragraphs;
    Pieces lines;
  } cases[] = {
      {"", {}, {}},
      {"a", {"a"}, {"a"}},
      {"a\nb\n", {"a", "b"}, {"a", "b"}},
      {"a\n\nb", {"a", "", "b"}, {"a", "", "b"}},
      {"a\r\nb\rc\n\rd", {"a", "b", "c", "", "d"}, {"a", "b", "c", "", "d"}},
      {"a\u2028b\u0085c\u2029d", {"a\u2028b\u0085c", "d"}, {"a", "b", "c", "d"}},
      {"a\fb\vc", {"a\fb\vc"}, {"a\fb\vc"}},
      {"é\u2029", {"é"}, {"é"}},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(pieces(each.text, paragraphAt), each.paragraphs) << each.text;
    EXPECT_EQ(pieces(each.text, lineAt), each.lines) << each.text;
  }
}

TEST(Text, RangesAreTheSameFromAnyPositionInThem) {
  const std::string text = "ab\r\n\u2028c\u2029";
  for (const TextRange& line : {TextRange{0, 2, 4}, {4, 4, 7}, {7, 8, 11}})
    for (auto position = line.start; position < line.end; ++position)
      EXPECT_EQ(lineAt(text, position), line) << position;
  EXPECT_EQ(paragraphAt(text, 5), (TextRange{4, 8, 11}));
  EXPECT_EQ(lineAt(text, 11), (TextRange{11, 11, 11}));
  EXPECT_EQ(lineAt("ab", 99), (TextRange{0, 2, 2}));
}

TEST(Text, ComparesIgnoringCase) {
  EXPECT_EQ(compareIgnoringCase("Straße É", "STRASSE e\u0301"), 0);
  EXPECT_LT(compareIgnoringCase("a", "B"), 0);
  EXPECT_GT(compareIgnoringCase("b", "A"), 0);
  EXPECT_NE(compareIgnoringCase(std::string("a\0b", 3), std::string("a\0c", 3)), 0);
  EXPECT_NE(compareIgnoringCase("\xFF", "a"), 0);
}

}  // namespace
}  // namespace extensions
