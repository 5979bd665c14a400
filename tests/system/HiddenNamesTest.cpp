#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "system/QVFinderTools.h"

namespace {

enum Rule : unsigned {
  kNone = 0,
  kListedFolder = 1,  // excluded from folders with mode 0
  kFolderMode1 = 2,   // and with mode 1
  kVolume = 4,
  kStartup = 8,       // at the root of the start-up volume with mode 0
  kStartupMode1 = 16  // and with any other
};
constexpr unsigned kFolderAlways = kListedFolder | kFolderMode1;
constexpr unsigned kStartupAlways = kStartup | kStartupMode1;
constexpr unsigned kVolumeRoot = kVolume | kStartupAlways;

// Some names of each rule, and what looks like them.
const std::pair<unsigned, std::vector<std::string>> kTable[] = {
    {kFolderAlways | kVolumeRoot, {".file"}},
    {kFolderAlways, {".Trash", "File Transfer Folder\x03\r"}},
    {kListedFolder, {".DS_Store", "Icon\r"}},
    {kVolumeRoot, {".vol", ".Trashes", ".HFS+ Private Directory Data\r"}},
    {kStartupAlways, {"dev", "mach", "Volumes"}},
    {kStartup, {"etc", "usr", "private"}},
    {kNone,
     {"Icon", "Icon\n", ".ds_store", ".Trash ", "USR", ".", "File Transfer Folder",
      std::string(300, '.')}}};

void expectRules(const std::string& name, unsigned rules) {
  using Tools = QVFinderTools;
  const auto has = [rules](unsigned rule) { return (rules & rule) != 0; };
  for (const std::int64_t even : {0, 2}) {
    EXPECT_EQ(Tools::isSystemFileNameInFolder(name, even), has(kListedFolder)) << name;
    EXPECT_EQ(Tools::isSystemFileNameInFolder(name, even + 1), has(kFolderMode1)) << name;
  }
  EXPECT_EQ(Tools::isVolumeHiddenFilename(name), has(kVolume)) << name;
  EXPECT_EQ(Tools::isVolumeSystemHiddenFilename(name, 0), has(kStartup)) << name;
  EXPECT_EQ(Tools::isVolumeSystemHiddenFilename(name, 1), has(kStartupMode1)) << name;
  EXPECT_EQ(Tools::isVolumeSystemHiddenFilename(name, -2), has(kStartupMode1)) << name;
}

TEST(HiddenNames, FollowTheirTableByNameAndMode) {
  for (const auto& [rules, names] : kTable)
    for (const auto& name : names) expectRules(name, rules);
}

TEST(HiddenNames, HaveALengthOfTheirOwn) {
  EXPECT_TRUE(QVIsFilenameHiddenExcluded(".Trashes", 6, 0));
  EXPECT_FALSE(QVIsFilenameHiddenExcluded(".Trash", 0, 0));
  EXPECT_TRUE(QVIsVolumeHiddenFilename(".Trashes and more", 8));
  EXPECT_TRUE(QVIsVolumeSystemHiddenFilename("usr/lib", 3, 0));
  EXPECT_FALSE(QVIsFilenameHiddenExcluded(nullptr, 6, 0));
  EXPECT_FALSE(QVIsVolumeHiddenFilename(nullptr, 4));
  EXPECT_FALSE(QVIsVolumeSystemHiddenFilename(nullptr, 3, 0));
}

TEST(HiddenNames, AreNoneOfWhatNoFileCanBeCalled) {
  const std::string cut(".Trash\0", 7);
  for (const auto& name :
       {std::optional<std::string>(), std::optional(std::string()), std::optional(cut)}) {
    EXPECT_FALSE(QVFinderTools::isSystemFileNameInFolder(name, 0));
    EXPECT_FALSE(QVFinderTools::isVolumeHiddenFilename(name));
    EXPECT_FALSE(QVFinderTools::isVolumeSystemHiddenFilename(name, 0));
  }
}

}  // namespace
