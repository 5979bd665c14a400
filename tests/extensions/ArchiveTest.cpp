#include <fmt/format.h>

#include <limits>

#include "extensions/KeyedArchiver.h"
#include "extensions/KeyedUnarchiver.h"
#include "tests/extensions/HandMadeList.h"
#include "tests/support/Test.h"

namespace extensions {
namespace {

using Texts = std::vector<std::string>;

constexpr std::uint64_t kLargest = std::numeric_limits<std::uint64_t>::max();
constexpr std::array<std::string_view, 1> kKnown = {"QVRamDisk"};

// One that gives back nothing else than what was stored, for every way of reading.
void decodeAll(const std::vector<UnarchivedObject>& objects) {
  for (const auto& [name, coder] : objects) {
    for (const char* key : {"type", "name", "size", "postCmdArgs", "x"}) {
      coder.decodeInteger(key);
      coder.decodeBool(key);
      coder.decodeString(key);
      coder.decodeUnsigned(key);
      coder.decodeNumber(key);
      coder.decodeStrings(key);
      coder.decodeValue(key);
    }
  }
}

// XML forms of the parts of an archive.
std::string ref(int index) {
  return fmt::format("<dict><key>CF$UID</key><integer>{}</integer></dict>", index);
}

std::string object(int classIndex, const std::string& entries) {
  return "<dict><key>$class</key>" + ref(classIndex) + entries + "</dict>";
}

std::string list(const std::string& key, std::initializer_list<int> indexes) {
  std::string text = "<key>" + key + "</key><array>";
  for (const int index : indexes) text += ref(index);
  return text + "</array>";
}

std::string text(const std::string& value) { return "<string>" + value + "</string>"; }
std::string entry(const std::string& key, const std::string& value) {
  return "<key>" + key + "</key>" + value;
}

std::string classEntry(const Texts& classes) {
  std::string chain;
  for (const std::string& name : classes) chain += text(name);
  return "<dict>" + entry("$classname", text(classes.front())) +
         entry("$classes", "<array>" + chain + "</array>") + "</dict>";
}

std::string archive(const Texts& objects, const std::string& top = entry("root", ref(1)),
                    const std::string& archiver = "NSKeyedArchiver", int version = 100000) {
  std::string all = text("$null");
  for (const std::string& each : objects) all += each;
  return xmlList("<dict>" + entry("$version", fmt::format("<integer>{}</integer>", version)) +
                 entry("$archiver", text(archiver)) + entry("$top", "<dict>" + top + "</dict>") +
                 entry("$objects", "<array>" + all + "</array>") + "</dict>");
}

// An archive of an array of one record, class 3, with these entries; further objects start at 5.
std::string recordArchive(const std::string& entries, const Texts& objects = {},
                          const Texts& classes = {"QVRamDisk", "NSObject"}) {
  Texts all = {object(4, list("NS.objects", {2})), object(3, entries), classEntry(classes),
               classEntry({"NSMutableArray", "NSArray", "NSObject"})};
  all.insert(all.end(), objects.begin(), objects.end());
  return archive(all);
}

struct Reading {
  explicit Reading(const std::string& bytes) : objects(unarchiveArray(bytes, kKnown, &problems)) {}
  const KeyedUnarchiver& first() const { return objects->front().coder; }
  Texts problems;
  platform::Result<std::vector<UnarchivedObject>> objects;
};

TEST(KeyedUnarchiver, ReadsInlineAndReferredValues) {
  const Reading reading(recordArchive(
      entry("type", "<integer>-5</integer>") + entry("yes", "<true/>") + entry("name", ref(5)) +
          entry("null", ref(0)) + entry("size", ref(6)) + entry("negative", ref(7)) +
          entry("real", "<real>2.9</real>") + entry("unknown", ref(2)),
      {text("é name"), "<integer>18446744073709551615</integer>", "<integer>-1</integer>"},
      {"QVRamDiskEntry", "QVRamDisk", "NSObject"}));
  ASSERT_TRUE(reading.objects) << reading.objects.error().text;
  ASSERT_EQ(reading.objects->size(), 1U);
  EXPECT_EQ(reading.objects->front().className, "QVRamDisk");
  const KeyedUnarchiver& coder = reading.first();
  EXPECT_EQ(coder.decodeInteger("type"), -5);
  EXPECT_EQ(coder.decodeInteger("missing"), 0);
  EXPECT_TRUE(coder.decodeBool("yes"));
  EXPECT_FALSE(coder.decodeBool("missing"));
  EXPECT_EQ(coder.decodeString("name"), "é name");
  EXPECT_EQ(coder.decodeString("null"), std::nullopt);
  EXPECT_TRUE(coder.contains("null"));
  EXPECT_FALSE(coder.contains("missing"));
  EXPECT_EQ(coder.decodeUnsigned("size"), kLargest);
  EXPECT_EQ(coder.decodeUnsigned("negative"), kLargest);
  EXPECT_EQ(coder.decodeNumber("negative"), -1);
  EXPECT_EQ(coder.decodeNumber("real"), 2);
  EXPECT_EQ(reading.problems, Texts{});
}

TEST(KeyedUnarchiver, ReadsEveryVariantOfPlainObjects) {
  const Texts objects = {
      text("a"),                                                                   // 5
      object(7, entry("NS.string", text("b"))),                                    // 6
      classEntry({"NSMutableString", "NSString", "NSObject"}),                     // 7
      object(9, list("NS.objects", {5, 6})),                                       // 8
      classEntry({"NSArray", "NSObject"}),                                         // 9
      object(11, entry("NS.uuidbytes", "<data>AAECAwQFBgcICQoLDA0ODw==</data>")),  // 10
      classEntry({"NSUUID", "NSObject"}),                                          // 11
      object(13, entry("NS.time", "<real>1</real>")),                              // 12
      classEntry({"NSDate", "NSObject"}),                                          // 13
      object(15, list("NS.keys", {5}) + list("NS.objects", {17})),                 // 14
      classEntry({"NSMutableDictionary", "NSDictionary", "NSObject"}),             // 15
      classEntry({"NSMutableData", "NSData", "NSObject"}),                         // 16
      object(16, entry("NS.data", "<data>eHl6</data>")),                           // 17
      object(19, ""),                                                              // 18
      classEntry({"NSNull", "NSObject"}),                                          // 19
      object(21, entry("NS.intval", "<integer>77</integer>")),                     // 20
      classEntry({"NSNumber", "NSValue", "NSObject"}),                             // 21
      object(4, list("NS.objects", {})),                                           // 22
  };
  const Reading reading(recordArchive(entry("string", ref(6)) + entry("array", ref(8)) +
                                          entry("uuid", ref(10)) + entry("date", ref(12)) +
                                          entry("dictionary", ref(14)) + entry("null", ref(18)) +
                                          entry("number", ref(20)) + entry("empty", ref(22)),
                                      objects));
  ASSERT_TRUE(reading.objects) << reading.objects.error().text;
  const KeyedUnarchiver& coder = reading.first();
  EXPECT_EQ(coder.decodeString("string"), "b");
  EXPECT_EQ(coder.decodeStrings("array"), (Texts{"a", "b"}));
  EXPECT_EQ(coder.decodeStrings("empty"), Texts{});
  EXPECT_EQ(coder.decodeString("uuid"), "00010203-0405-0607-0809-0A0B0C0D0E0F");
  EXPECT_EQ(coder.decodeValue("date"), PropertyList(PropertyList::Date{978307201}));
  EXPECT_EQ(coder.decodeValue("dictionary"),
            PropertyList(PropertyList::Dictionary{{"a", PropertyList::Data{"xyz"}}}));
  EXPECT_EQ(coder.decodeStrings("null"), std::nullopt);
  EXPECT_EQ(coder.decodeNumber("number"), 77);
  EXPECT_EQ(reading.problems, Texts{});
}

TEST(KeyedUnarchiver, LeavesOutUnknownClassesAndOtherTypes) {
  const Reading reading(archive(
      {object(2, list("NS.objects", {3, 5, 6, 0, 7})), classEntry({"NSArray", "NSObject"}),
       object(4, entry("name", "<integer>1</integer>") + entry("size", ref(6)) +
                     entry("loop", ref(7))),
       classEntry({"QVRamDisk", "NSObject"}), object(8, entry("any", "<true/>")), text("bare"),
       object(2, list("NS.objects", {6, 7})), classEntry({"QVLater", "NSObject"})}));
  ASSERT_TRUE(reading.objects) << reading.objects.error().text;
  ASSERT_EQ(reading.objects->size(), 1U);
  EXPECT_EQ(reading.first().decodeString("name"), std::nullopt);
  EXPECT_EQ(reading.first().decodeString("name"), std::nullopt);
  EXPECT_EQ(reading.first().decodeUnsigned("size"), std::nullopt);
  EXPECT_EQ(reading.first().decodeStrings("loop"), std::nullopt);
  const std::string ofDisk = " of an object of the class QVRamDisk is no ";
  EXPECT_EQ(reading.problems,
            (Texts{"an element of the class QVLater was left out",
                   "an element of the class (none) was left out",
                   "an element of the class NSArray was left out", "\"name\"" + ofDisk + "text",
                   "\"size\"" + ofDisk + "number",
                   "\"loop\"" + ofDisk + "array of texts (an object contains itself)"}));
}

// {"$archiver": …, "$version": …, "$objects": …, "$top": …}, the last two of these values.
std::string handMade(const Texts& values) {
  Texts all = {bytes("\xD4\x01\x02\x03\x04\x05\x06\x07\x08"),
               "\x59$archiver",
               "\x58$version",
               "\x58$objects",
               "\x54$top",
               "\x5F\x10\x0FNSKeyedArchiver",
               bytes("\x12\0\x01\x86\xA0")};
  all.insert(all.end(), values.begin(), values.end());
  return binaryList(all);
}

TEST(KeyedUnarchiver, RefusesDamagedFrames) {
  const std::string arrayClass = classEntry({"NSArray", "NSObject"});
  const std::string root = object(2, list("NS.objects", {}));
  std::string repeated = "\xAF\x12" + bigEndianBytes(200'000, 4) + std::string(200'000, '\x0A');
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "not a property list"},
      {"rubbish", "not a property list"},
      {xmlList("<dict/>"), "not a keyed archive"},
      {xmlList("<array/>"), "not a keyed archive"},
      {archive({root, arrayClass}, "", "NSKeyedArchiver"), "no root"},
      {archive({root, arrayClass}, entry("root", text("x"))), "no root"},
      {archive({root, arrayClass}, entry("root", ref(3))), "no root"},
      {archive({root, arrayClass}, entry("root", ref(1)), "Other"), "another archiver"},
      {archive({root, arrayClass}, entry("root", ref(1)), "NSKeyedArchiver", 1), "another version"},
      {archive({root, arrayClass}, entry("root", ref(0))), "no array"},
      {archive({text("x")}), "no array"},
      {archive({object(2, ""), classEntry({"NSSet", "NSObject"})}), "no array"},
      {archive({object(2, ""), arrayClass}), "no elements"},
      {archive({object(2, entry("NS.objects", text("x"))), arrayClass}), "no elements"},
      {archive({object(2, list("NS.objects", {9})), arrayClass}), "beyond the 3"},
      {archive({object(2, list("NS.objects", {1})), arrayClass}), "contains itself"},
      {archive({object(2, "<key>NS.objects</key><array><true/></array>"), arrayClass}),
       "no reference"},
      {archive({object(1, list("NS.objects", {}))}), "no class"},
      {archive({object(2, entry("$classname", text("x"))), text("x")}), "no class"},
      {archive({root, "<dict>" + entry("$classname", "<true/>") + "</dict>"}), "no class"},
      {archive({root, classEntry(Texts(100, "NSArray"))}), "no class"},
      {archive({root, arrayClass, "<dict/>"}), "no class"},
      {handMade({"\xAF\x13" + bigEndianBytes(1'000'000'000, 8), "\xD0"}), "beyond the objects"},
      {handMade({bytes("\xA3\x09\x0B\x0E"), bytes("\xD1\x12\x0A"), "\x55$null", bytes("\x80\x01"),
                 bytes("\xD2\x0C\x0D\x11\x13"), "\x56$class", "\x5ANS.objects",
                 bytes("\xD1\x0F\x10"), "\x5A$classname", "\x57NSArray", bytes("\x80\x02"),
                 "\x54root", repeated}),
       "more than 100000"},
  };
  for (const auto& [input, reason] : cases) {
    const Reading reading(input);
    ASSERT_FALSE(reading.objects) << reason;
    EXPECT_EQ(reading.objects.error().domain, "Archive");
    EXPECT_NE(reading.objects.error().text.find(reason), std::string::npos)
        << reading.objects.error().text << " for " << reason;
  }
}

// A megabyte that an array lists a thousand times, and arrays that hold each other twice.
TEST(KeyedUnarchiver, BoundsWhatSharedObjectsUnfoldTo) {
  Texts objects = {text(std::string(1'000'000, 'x')), classEntry({"NSArray", "NSObject"})};
  std::string thousandfold = "<key>NS.objects</key><array>";
  for (int i = 0; i < 1000; ++i) thousandfold += ref(5);
  objects.push_back(object(6, thousandfold + "</array>"));
  for (int i = 8; i < 48; ++i) objects.push_back(object(6, list("NS.objects", {i + 1, i + 1})));
  objects.push_back(object(6, list("NS.objects", {})));
  const Reading reading(
      recordArchive(entry("long", ref(7)) + entry("deep", ref(8)) + entry("x", ref(5)), objects));
  ASSERT_TRUE(reading.objects) << reading.objects.error().text;
  EXPECT_EQ(reading.first().decodeString("x")->size(), 1'000'000U);
  EXPECT_EQ(reading.first().decodeValue("deep"), std::nullopt);
  EXPECT_EQ(reading.first().decodeStrings("long"), std::nullopt);
  ASSERT_EQ(reading.problems.size(), 2U);
  for (const std::string& problem : reading.problems)
    EXPECT_NE(problem.find("unfolds to too much"), std::string::npos) << problem;
}

struct Record : KeyedArchivable {
  Texts archiveClasses() const override { return {"QVRamDisk", "NSObject"}; }
  void encodeWithCoder(KeyedArchiver& archiver) const override {
    archiver.encodeInteger("type", -3);
    archiver.encodeBool("x", true);
    archiver.encodeString("name", "same");
    archiver.encodeString("null", std::nullopt);
    archiver.encodeUnsigned("size", kLargest);
    archiver.encodeStrings("postCmdArgs", Texts{"same", ""});
    archiver.encodeStrings("none", std::nullopt);
  }
};

// The order of the objects is that in which they are reached.
TEST(KeyedArchiver, WritesTheFrameworksForm) {
  const auto record = std::make_shared<const Record>();
  const auto written = archivedDataWithRootObject({record, nullptr, record});
  EXPECT_TRUE(written.starts_with("bplist00"));
  const auto expected =
      archive({object(9, list("NS.objects", {2, 2})),
               object(8, entry("type", "<integer>-3</integer>") + entry("x", "<true/>") +
                             entry("name", ref(3)) + entry("null", ref(0)) + entry("size", ref(4)) +
                             entry("postCmdArgs", ref(5)) + entry("none", ref(0))),
               text("same"), "<integer>18446744073709551615</integer>",
               object(7, list("NS.objects", {3, 6})), text(""), classEntry({"NSArray", "NSObject"}),
               classEntry({"QVRamDisk", "NSObject"}),
               classEntry({"NSMutableArray", "NSArray", "NSObject"})});
  EXPECT_EQ(xmlPropertyList(*parsePropertyList(written)),
            xmlPropertyList(*parsePropertyList(expected)));
}

TEST(KeyedUnarchiver, EndsWithAnyDamage) {
  const auto written = archivedDataWithRootObject({std::make_shared<const Record>()});
  for (std::size_t size = 0; size < written.size(); ++size)
    EXPECT_FALSE(Reading(written.substr(0, size)).objects) << size;
  int refused = 0;
  for (std::size_t i = 0; i < written.size() * 8; ++i) {
    std::string damaged = written;
    damaged[i / 8] = static_cast<char>(damaged[i / 8] ^ 1 << i % 8);
    const Reading reading(damaged);
    if (reading.objects) decodeAll(*reading.objects);
    refused += reading.objects ? 0 : 1;
  }
  EXPECT_GT(refused, 1000);
}

}  // namespace
}  // namespace extensions
