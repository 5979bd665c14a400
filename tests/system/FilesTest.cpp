#include "system/DiskPlaces.h"
#include "system/ExtendedAttributes.h"
#include "system/QVFunctions.h"
#include "tests/system/SystemTest.h"

namespace {

using Text = std::optional<std::string>;
using namespace std::string_literals;

class FilesTest : public SystemTest {};

std::string repeated(std::string_view text, int times) {
  std::string all;
  while (times-- > 0) all += text;
  return all;
}

TEST_F(FilesTest, AcceptsOnlyLegalNames) {
  for (const auto& name :
       {"RamDisk"s, ".hidden"s, "a b-c_1.2"s, "Gr\u00FCn (1) #2 \u65E5\u672C"s, "*?'%&!"s,
        repeated("a", 254), repeated("\u00FC", 254), repeated("\U00020000", 127)})
    EXPECT_TRUE(QVFunctions::isLegalFilename(name)) << name;
  for (const auto& name :
       {""s, repeated("a", 255), repeated("\U00020000", 128), "a\nb"s, "a\u2028"s, "\u0085"s,
        "a\x7F"s, "a\0b"s, "a\u200Db"s, "\u0378"s, "\uFFFE"s, "\U0001F600"s, "a\xFF"s})
    EXPECT_FALSE(QVFunctions::isLegalFilename(name)) << name;
  for (const char c : "+$^~=`:/\\|\"<>"s)
    EXPECT_FALSE(QVFunctions::isLegalFilename("a"s + c + "b")) << c;
  EXPECT_FALSE(QVFunctions::isLegalFilename(std::nullopt));
}

TEST_F(FilesTest, SecuresNames) {
  const struct {
    Text name;
    Text substitution;
    Text secured;
  } cases[] = {{std::nullopt, "x", std::nullopt},
               {"a:b", "", "a_b"},
               {":/\\|\"<>", std::nullopt, "_______"},
               {"a+b=c\n", "-", "a+b=c\n"},
               {"a/b//c", "--", "a--b----c"},
               {"a:b", "::", "a::b"},
               {"a:b/c", "/", "a/b/c"},
               {"a:b", "<", "a<b"},
               {"a:b", "|>", "a||>|>b"},  // one after the other, what was put in included
               {"", "-", ""}};
  for (const auto& c : cases)
    EXPECT_EQ(QVFunctions::securisedFileName(c.name, c.substitution), c.secured);
}

TEST_F(FilesTest, MakesSureOfDirectories) {
  using F = QVFunctions;
  EXPECT_FALSE(F::checkDirectoryAtPath(std::nullopt, true));
  EXPECT_TRUE(F::checkDirectoryAtPath(scratch.path("a/b/c"), false));
  EXPECT_TRUE(fs::is_directory(scratch.path("a/b/c")));
  scratch.file("a/b/c/kept");
  EXPECT_TRUE(F::checkDirectoryAtPath(scratch.path("a/b/c"), true));
  EXPECT_TRUE(fs::exists(scratch.path("a/b/c/kept")));

  const auto file = scratch.file("file", "text");
  EXPECT_FALSE(F::checkDirectoryAtPath(file, false));
  EXPECT_EQ(readFile(file), "text");
  EXPECT_TRUE(log->entries().empty());
  EXPECT_TRUE(F::checkDirectoryAtPath(file, true));
  EXPECT_TRUE(fs::is_directory(file));
  EXPECT_EQ(log->count("isDir==NO dirPath:" + file), 1U);

  const auto impossible = scratch.file("other") + "/below";
  EXPECT_FALSE(F::checkDirectoryAtPath(impossible, true));
  EXPECT_EQ(log->count("createDirectoryAtPath==NO dirPath:" + impossible), 1U);
}

TEST_F(FilesTest, MakesTheApplicationsOwnDirectoriesOrReportsThem) {
  const auto support = scratch.path("home/support/com.example.test");
  const auto caches = scratch.path("home/caches/com.example.test/qvfunctions-caches");
  scratch.file("home/support");
  scratch.file("home/caches");
  EXPECT_EQ(QVFunctions::appSupportPath("x"), support + "/x");
  EXPECT_EQ(QVFunctions::cachesDirPath(std::nullopt), caches);
  EXPECT_EQ(log->count("CRITIRAL EXCEPTION"), 3U);
  EXPECT_EQ(log->count("QVFunctions checkDirectoryAtPath==NO supportDir:" + support), 1U);
  EXPECT_EQ(log->count("QVFunctions checkDirectoryAtPath==NO dirPath:" + support + "/x"), 1U);
  EXPECT_EQ(log->count("QVFunctions checkDirectoryAtPath==NO cachesDir:" + caches), 1U);
  EXPECT_EQ(alerts->shown.size(), 3U);
  EXPECT_EQ(QVFunctions::appSupportPath(std::nullopt), support);
  EXPECT_EQ(alerts->shown.size(), 3U) << "known from here on, and not tried again";

  for (const auto* each : {"home/support", "home/caches"}) fs::remove(scratch.path(each));
  places = std::make_shared<doubles::FakePlaces>(scratch.path());
  installServices();
  EXPECT_EQ(QVFunctions::appSupportPath("RamDisks"), support + "/RamDisks");
  EXPECT_EQ(QVFunctions::cachesDirPath("a/b"), caches + "/a/b");
  EXPECT_TRUE(fs::is_directory(support + "/RamDisks"));
  EXPECT_TRUE(fs::is_directory(caches + "/a/b"));
  EXPECT_EQ(alerts->shown.size(), 3U);
}

TEST_F(FilesTest, EmptiesADirectoryAndGoesOnAfterAFailure) {
  scratch.file("full/a/b", "text");
  scratch.file("full/.hidden");
  const auto busy = scratch.directory("full/busy");  // in the middle, whatever order it lists in
  scratch.file("full/z");
  ASSERT_EQ(mount("tmpfs", busy.c_str(), "tmpfs", 0, nullptr), 0);
  std::vector<QVFunctions::ItemFailure> errors(2);
  EXPECT_FALSE(QVFunctions::cleanDirectoryContentsAtPath(scratch.path("full"), errors));
  umount(busy.c_str());
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_EQ(errors[0].path, busy);
  EXPECT_EQ(errors[0].error.code, EBUSY);
  EXPECT_EQ(log->count("removeItemAtPath==NO path:" + busy + " error:"), 1U);
  EXPECT_EQ(std::distance(fs::directory_iterator(scratch.path("full")), {}), 1);

  EXPECT_FALSE(QVFunctions::cleanDirectoryContentsAtPath(scratch.path("missing"), errors));
  EXPECT_EQ(errors.size(), 1U) << "left alone where there is nothing to list";
  EXPECT_EQ(log->count("files==nil dirPath:" + scratch.path("missing") + " error:"), 1U);
  EXPECT_TRUE(QVFunctions::cleanDirectoryContentsAtPath(scratch.path("full"), errors));
  EXPECT_TRUE(errors.empty());
  EXPECT_TRUE(fs::is_empty(scratch.path("full")));
}

TEST_F(FilesTest, TellsDates) {
  const auto file = scratch.file("file");
  const timespec times[] = {{1'000'000'000, 0}, {1'500'000'000, 999'999'999}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  double date = -1;
  EXPECT_TRUE(QVFunctions::getModDate1970(&date, file));
  EXPECT_EQ(date, 1'500'000'000);
  EXPECT_TRUE(QVFunctions::getModDate1970(nullptr, file));
  const auto now = static_cast<double>(std::time(nullptr));
  EXPECT_TRUE(QVFunctions::getCreationDate1970(&date, file));
  EXPECT_TRUE(date == 0 || std::abs(date - now) < 60) << date;  // 0 where none is kept

  EXPECT_FALSE(QVFunctions::getModDate1970(&date, std::nullopt));
  EXPECT_TRUE(log->entries().empty());
  EXPECT_FALSE(QVFunctions::getCreationDate1970(&date, scratch.path("missing")));
  EXPECT_EQ(log->count("stat!=0 errno:2 (No such file or directory)"), 1U);
}

TEST_F(FilesTest, KeepsExtendedAttributes) {
  const auto file = scratch.file("file");
  const std::string bytes("a\0b", 3);
  std::vector<std::string> names = {"old"};
  std::string value = "old";
  EXPECT_TRUE(QVGetXAttrNames(&names, file.c_str()));
  EXPECT_TRUE(names.empty());
  for (const auto* name : {"com.example.one", "com.example.no-text\xFF"})
    ASSERT_TRUE(QVSetExtendedAttribute(bytes, name, file));
  EXPECT_TRUE(QVGetExtentedAttribute(&value, "com.example.one", file));
  EXPECT_EQ(value, bytes);
  EXPECT_TRUE(QVGetXAttrNames(&names, file.c_str()));
  EXPECT_EQ(names, std::vector<std::string>{"user.com.example.one"});
  EXPECT_TRUE(QVSetExtendedAttribute(std::nullopt, "com.example.one", file));
  EXPECT_FALSE(QVSetExtendedAttribute(std::nullopt, "com.example.one", file));
  EXPECT_FALSE(QVSetExtendedAttribute(bytes, std::nullopt, file));
  EXPECT_FALSE(QVGetExtentedAttribute(&value, "com.example.one", std::nullopt));
  EXPECT_FALSE(QVGetXAttrNames(&names, nullptr));
  EXPECT_FALSE(QVGetXAttrNames(&names, scratch.path("missing").c_str()));
  EXPECT_EQ(log->count("listxattr==-1 errno:2 (No such file or directory)"), 1U);
}

// --- Where a disk has what

using namespace disk_places;

// As they stand on the machines of people who have used an earlier version.
TEST(DiskPlacesTest, NamesAreAsEarlierVersionsWroteThem) {
  const std::pair<std::string, std::string> rows[] = {
      {mountPath("/desk", "build"), "/desk/build"},
      {savedBase("/desk", "build"), "/desk/build (Tarnvale Backup Base)"},
      {previousOf("/desk/x y"), "/desk/x y.previous"},
      {previousOf("/desk/x.y", "old"), "/desk/x.y.old"},
      {incompleteMarkOf("/desk/x"), "/desk/x.incomplete"},
      {rescued("/desk/x", 1), "/desk/x rescued"},
      {rescued("/desk/x", 2), "/desk/x rescued 2"},
      {rescued("/d/" + std::string(250, 'x'), 1), "/d/" + std::string(247, 'x') + " rescued"},
      {rescued("/d/" + std::string(246, 'x') + "\xC3\xA9" + "end", 1),
       "/d/" + std::string(246, 'x') + " rescued"},
      {backupFolder("/support", "ID"), "/support/ID.TarnvaleBackup"},
      {deviceNote("/support", "ID"), "/support/ID.TarnvaleDevice"},
      {lookPlace("/support", "ID"), "/support/ID.TarnvaleVolume"},
      {lockFile("/support", "ID"), "/support/Locks/ID"},
      {lockFolder("/support"), "/support/Locks"},
      {kRamDiskInfoAttributeName, "com.tarnvale.RamDiskInfo"},
      {kRefillAttribute, "com.tarnvale.RamDiskRefill"},
      {kSavedAttribute, "com.tarnvale.RamDiskSaved"},
      {kGenerationAttribute, "com.tarnvale.RamDiskGeneration"},
  };
  for (const auto& [made, expected] : rows) EXPECT_EQ(made, expected);
}

TEST(DiskPlacesTest, WithoutADirectoryItIsWhereVolumesAreShown) {
  platform::install(DoubleServices("/root").services());
  EXPECT_EQ(mountPath(std::nullopt, "build"), "/root/Volumes/build");
}

TEST(DiskPlacesTest, ASavedBaseIsKnownByItsNameAndNothingElseIs) {
  for (const std::string name : {"build", "a (b)", " "}) {
    const std::string base = savedBase("/desk", name);
    EXPECT_TRUE(isSavedBase(base)) << base;
    EXPECT_TRUE(isSavedBase(base.substr(base.rfind('/') + 1))) << base;
    for (const auto& other : {mountPath("/desk", name), previousOf(base), incompleteMarkOf(base),
                              rescued(base, 1), rescued(base, 2)})
      EXPECT_FALSE(isSavedBase(other)) << other;
  }
}

}  // namespace
