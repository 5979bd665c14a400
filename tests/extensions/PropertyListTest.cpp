#include "extensions/PropertyList.h"

#include <chrono>
#include <cmath>
#include <limits>

#include "tests/extensions/HandMadeList.h"
#include "tests/support/Test.h"

namespace extensions {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

constexpr std::uint64_t kLargestInteger = std::numeric_limits<std::uint64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

TEST(PropertyList, ReadsEveryKindOfBinaryObject) {
  const std::vector<std::pair<std::string, PropertyList>> cases = {
      {bytes("\x08"), false},
      {bytes("\x09"), true},
      {bytes("\x10\xFF"), 255},
      {bytes("\x11\xFF\xFE"), 65534},
      {bytes("\x12\xFF\xFF\xFF\xFF"), 4294967295},
      {bytes("\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE"), -2},
      {bytes("\x14\0\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), kLargestInteger},
      {"\x14" + std::string(15, '\xFF') + "\xFD", -3},
      {bytes("\x22\x3F\x80\0\0"), 1.0},
      {bytes("\x23\xC0\x09\x21\xFB\x54\x44\x2D\x18"), -3.141592653589793},
      {bytes("\x33\x42\x2D\x63\xC3\x7F\0\0\0"), PropertyList::Date{64092211200}},  // year 4001
      {bytes("\x43\0\x01\xFF"), PropertyList::Data{bytes("\0\x01\xFF")}},
      {"\x5F\x10\x10sixteen letters!", "sixteen letters!"},
      {bytes("\x64\0h\0\xE9\xD8\x3D\xDE\0"), "hé😀"},
      {bytes("\x61\xD8\x3D"), "\uFFFD"},  // half a character
      {bytes("\x82\x01\0\0"), PropertyList::Uid{65536}},
      {"\xA0", Array{}},
      {"\xD0", Dictionary{}},
  };
  for (const auto& [object, expected] : cases) {
    const auto list = parsePropertyList(binaryList({object}));
    ASSERT_TRUE(list) << list.error().text;
    EXPECT_EQ(*list, expected) << xmlPropertyList(*list);
  }
}

TEST(PropertyList, ReadsXml) {
  const auto list = parsePropertyList("\xEF\xBB\xBF" + xmlList(R"(<dict>
      <key>a&amp;b</key><array><true/><integer>-5</integer><integer>18446744073709551615</integer></array>
      <!-- not a <dict> --><key>date</key><date>4001-01-01T00:00:00Z</date>
      <key>data</key><data> AAH/ </data>
      <key>reference</key><dict><key>CF$UID</key><integer>7</integer></dict>
      <key>text</key><string>&lt;é&#x1F600;<![CDATA[<&]]></string><key>real</key><real>0.1</real>
      </dict>)"));
  ASSERT_TRUE(list) << list.error().text;
  EXPECT_EQ(*list, PropertyList(Dictionary{{"a&b", Array{true, -5, kLargestInteger}},
                                           {"date", PropertyList::Date{64092211200}},
                                           {"data", PropertyList::Data{bytes("\0\x01\xFF")}},
                                           {"reference", PropertyList::Uid{7}},
                                           {"text", "<é😀<&"},
                                           {"real", 0.1}}));
}

TEST(PropertyList, WritesTheBinaryFormByteForByte) {
  const PropertyList list = Dictionary{{"k", Array{"k", 300, -1, PropertyList::Uid{3}}}};
  const std::string expected = bytes("bplist00\xD1\x01\x02\x51k\xA4\x01\x03\x04\x05\x11\x01\x2C") +
                               bytes("\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x80\x03") +  //
                               bytes("\x08\x0B\x0D\x12\x15\x1E") + bytes("\0\0\0\0\0\0\x01\x01") +
                               bigEndianBytes(6, 8) + bigEndianBytes(0, 8) +
                               bigEndianBytes(0x20, 8);
  EXPECT_EQ(binaryPropertyList(list), expected);
}

TEST(PropertyList, SurvivesBothForms) {
  Array many;
  for (int i = 0; i < 70'000; ++i) many.emplace_back(i);  // references of more than two bytes
  const std::vector<PropertyList> lists = {
      Array{false, true, 0, 255, 256, -1, kLeast, kLargestInteger, std::uint64_t{1} << 63U},
      Array{0.1, -1e300, 1e-300, 3.0, 4294967296.5},
      Array{PropertyList::Date{0}, PropertyList::Date{-1e10}, PropertyList::Date{1e11}},
      Array{"", " <&>\"' ", "é😀\u2029", "line\r\n\ttab", std::string(70'000, 'x'), "\x01\x1F\x7F"},
      Array{PropertyList::Data{}, PropertyList::Data{std::string(1000, '\0')}},
      Dictionary{{"", "empty"}, {"ключ", Dictionary{{"k", Array{Array{}, Dictionary{}}}}}},
      Array{PropertyList::Uid{0}, PropertyList::Uid{70'000}},
      many,
      "a text alone",
  };
  for (const PropertyList& list : lists) {
    const auto fromBinary = parsePropertyList(binaryPropertyList(list));
    ASSERT_TRUE(fromBinary) << fromBinary.error().text;
    EXPECT_EQ(*fromBinary, list);
    const auto fromXml = parsePropertyList(xmlPropertyList(list));
    ASSERT_TRUE(fromXml) << fromXml.error().text << xmlPropertyList(list);
    EXPECT_EQ(*fromXml, list) << xmlPropertyList(list);
  }
  const std::string odd = bytes("ä\0é\xFF");
  EXPECT_EQ(*parsePropertyList(binaryPropertyList(odd)), PropertyList(bytes("ä\0é") + "\uFFFD"));
  EXPECT_EQ(*parsePropertyList(xmlPropertyList(odd)), PropertyList("ä\uFFFDé\uFFFD"));
}

TEST(PropertyList, TellsNumbersApart) {
  EXPECT_EQ(PropertyList(kLargestInteger).integer(), std::nullopt);
  EXPECT_EQ(PropertyList(-1).unsignedInteger(), std::nullopt);
  EXPECT_EQ(PropertyList(7).unsignedInteger(), 7U);
  EXPECT_EQ(PropertyList(2).boolean(), true);
  EXPECT_EQ(PropertyList(true).integer(), std::nullopt);
  EXPECT_EQ(PropertyList("x").find("k"), nullptr);
}

std::string lengthOf(char kind, std::uint64_t count) {
  return std::string(1, kind) + "\x13" + bigEndianBytes(count, 8);
}

// Each level holds the next one 15 times.
std::string sharedExponentially(int levels, const std::string& leaf) {
  std::vector<std::string> objects;
  for (int i = 1; i <= levels; ++i)
    objects.push_back("\xAE" + std::string(14, static_cast<char>(i)));
  objects.push_back(leaf);
  return binaryList(objects);
}

std::string repeated(const std::string& part, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += part;
  return text;
}

std::string nested(const std::string& open, const std::string& close, int depth) {
  return xmlList(repeated(open, depth) + repeated(close, depth));
}

// What took others time that grows with the square of the size, or that a text cannot hold.
TEST(PropertyList, ReadsAMegabyteOfAnythingInNoTime) {
  std::string collisions;  // "AA" and "B " end in the same hash of the usual sort
  for (unsigned i = 0; i < 1U << 15U; ++i) {
    collisions += "<string>";
    for (unsigned bit = 0; bit < 15; ++bit) collisions += (i >> bit & 1U) != 0 ? "AA" : "B ";
    collisions += "</string>";
  }
  const auto begin = std::chrono::steady_clock::now();
  for (const std::string& value :
       {"<array>" + collisions + "</array>", "<string>" + repeated("&amp;", 200'000) + "</string>",
        "<string>" + repeated("a<!-- -->", 100'000) + "</string>",
        "<data>" + repeated("YWJj\n", 200'000) + "</data>"})
    EXPECT_TRUE(parsePropertyList(xmlList(value)));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
}

TEST(PropertyList, RefusesHostileInputWithAReason) {
  const std::string tenMegabytes = lengthOf('\x4F', 10'000'000).append(10'000'000, 'x');
  const std::vector<std::pair<std::string, std::string>> cases = {
      {binaryList({bytes("\xA1\x00")}), "contains itself"},
      {binaryList({"\xA1\x01", bytes("\xD1\x02\x00"), "\x51k"}), "contains itself"},
      {binaryList({"\xA1\x05"}), "reference out of range"},
      {binaryList({lengthOf('\xAF', 1'000'000'000)}), "beyond the objects"},
      {binaryList({lengthOf('\x4F', kLargestInteger)}), "beyond the objects"},
      {binaryList({lengthOf('\xDF', std::uint64_t{1} << 63U)}), "beyond the objects"},
      {binaryList({"\x5F\x50"}), "length that is no integer"},
      {binaryList({bytes("\x14\0\0\0\0\0\0\0\x01\0\0\0\0\0\0\0\0")}), "more than 64 bits"},
      {binaryList({"\xD1\x01\x01", "\x10\x05"}), "key that is no text"},
      {binaryList({bytes("\x00")}), "unknown kind"},
      {binaryList({"\x51\xFF"}), "no text"},
      {sharedExponentially(9, "\x09"), "too many values"},
      {binaryList({"\xA8" + std::string(8, '\x01'), tenMegabytes}), "too many bytes"},
      {"bplist00" + std::string(34, '\xFF'), "trailer"},
      {"bplist00", "too short"},
      {"", "not a property list"},
      {"<plist><array>", "not a property list"},
      {"\xFE\xFF", "UTF-8"},
      {nested("<array>", "</array>", 100'000), "nested too deeply"},
      {nested("<dict><key>k</key>", "</dict>", 257), "nested too deeply"},
      {nested("<array a='\">'><array b='\">'>", "</array></array>", 129), "nested too deeply"},
      {nested("<array><!-- </array> -->", "</array>", 257), "nested too deeply"},
      {nested("<array><!-->", "</array> -->", 1), "not a property list"},
      {nested("<array><!DOCTYPE x [ > </array> ]>", "", 300), "declarations"},
      {xmlList("<string>&nbsp;</string>"), "unknown entity"},
      {xmlList("<string>&#0;</string>"), "unknown entity"},
      {xmlList("<integer>18446744073709551616</integer>"), "<integer>"},
      {xmlList("<real>1,5</real>"), "<real>"},
      {xmlList("<date>2001-13-01T00:00:00Z</date>"), "<date>"},
      {xmlList("<data>A*==</data>"), "<data>"},
      {xmlList("<table/>"), "<table>"},
      {xmlList("<true/>") + "<true/>", "not a property list"},
      {xmlList("<array>" + repeated("<true/>", 600'000) + "</array>"), "too many values"},
      {std::string(kPropertyListMaximumInput + 1, ' '), "too large"},
  };
  for (const auto& [input, reason] : cases) {
    const auto list = parsePropertyList(input);
    ASSERT_FALSE(list) << reason;
    EXPECT_EQ(list.error().domain, "PropertyList");
    EXPECT_NE(list.error().text.find(reason), std::string::npos)
        << list.error().text << " for " << reason;
  }
  EXPECT_TRUE(parsePropertyList(nested("<array>", "</array>", 256)));
  EXPECT_TRUE(parsePropertyList(sharedExponentially(4, "\x09")));
}

TEST(PropertyList, EndsWithAnyDamage) {
  const std::string whole = binaryPropertyList(
      Dictionary{{"array", Array{1, -1, kLargestInteger, 1.5, "é", PropertyList::Date{5}}},
                 {"dictionary", Dictionary{{"k", PropertyList::Data{"xyz"}}}},
                 {"long", std::string(20, 'x')}});
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(parsePropertyList(whole.substr(0, size))) << size;
  std::size_t differing = 0;
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    std::string damaged = whole;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
    const auto list = parsePropertyList(damaged);
    if (!list || binaryPropertyList(*list) != whole) ++differing;
  }
  EXPECT_GT(differing, whole.size() * 5);  // damage is seen: most bits mean something
}

TEST(PropertyList, EndsWithAnyTruncatedOrDamagedXml) {
  const std::string whole =
      xmlPropertyList(Dictionary{{"array", Array{1, "é<", true}}, {"k", 1.5}});
  const std::size_t contentsEnd = whole.rfind("</dict>");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const auto list = parsePropertyList(whole.substr(0, size));
    EXPECT_TRUE(!list || size > contentsEnd) << size;
    std::string damaged = whole;
    damaged[size] = static_cast<char>(damaged[size] ^ 0x55);
    const auto other = parsePropertyList(damaged);
    EXPECT_TRUE(other || !other.error().text.empty());
  }
}

}  // namespace
}  // namespace extensions
