#include <algorithm>

#include "system/QVMacInfo.h"
#include "tests/menu/MenuTest.h"

namespace {

constexpr auto kNone = QVRamDiskBackupMode_None;
constexpr auto kDirectory = QVRamDiskBackupMode_Directory;
constexpr auto kPlain = QVRamDiskType_Default;
constexpr auto kBrowser = QVRamDiskType_Firefox;
constexpr auto kSimulator = QVRamDiskType_CoreSimulator;

class DiskMenuTest : public MenuTest {
 protected:
  // The submenu of a record that is made so; without a path nothing is listed. Each line ends with
  // " = disk disk", which is left out.
  Lines menuOf(QVRamDiskStatus status, QVRamDiskBackupMode mode = kNone,
               QVRamDiskType type = kPlain) {
    start();
    const auto made = record("disk", status, mode, type);
    open();
    auto found = lines(openDisk(made->displayName().value_or("")));
    for (auto& line : found) line = line.substr(0, line.rfind(" = disk disk"));
    return found;
  }
};

TEST_F(DiskMenuTest, ACreatedDiskIsMountedOnlyWhileItsApplicationRuns) {
  const auto created = QVRamDiskStatus_created;
  runApplication("test.browser", "Browser");
  EXPECT_EQ(menuOf(created), Lines{"Mount (off) [mi_statusMount:] {rmov}"});
  EXPECT_EQ(menuOf(created, kNone, kBrowser),
            Lines{"Mount [mi_statusMount:] {rmov} \"Browser is running\""});
}

TEST_F(DiskMenuTest, WhatIsNotCreatedCanBeUnlessSomethingSpeaksAgainstIt) {
  const auto absent = QVRamDiskStatus_notCreated;
  for (const auto status : {absent, static_cast<QVRamDiskStatus>(7)})
    EXPECT_EQ(menuOf(status), Lines{"Create [mi_menu:#2] {rmov}"});
  runApplication("test.browser", "Browser");
  EXPECT_EQ(menuOf(absent, kNone, kBrowser),
            Lines{"Create (off) [mi_menu:#2] {rmov} \"Browser is running\""});
  machine->memory = 1ULL << 27U;
  QVMacInfo::forgetCachedAnswers();
  EXPECT_EQ(menuOf(absent),
            Lines{"Create (off) [mi_menu:#2] {rmov} \"Insuffisant computer memory\""});
}

TEST_F(DiskMenuTest, WhatCanBeDoneToAMountedDisk) {
  const std::string eject = "Eject [mi_statusEject:] {ejec}";
  const std::string rebuild = "Rebuild [mi_rebuild:] {burn}";
  const std::string synchronise = "Synchronise Now [mi_backupNow:#2] {syncIcon}";
  const std::string backup = "Backup Now [mi_backupNow:#1] {syncIcon}";
  const std::string clean = "Delete All Files [mi_cleanUp:] {ftrh}";
  const auto is = [&](QVRamDiskBackupMode mode, QVRamDiskType type, const Lines& expected) {
    EXPECT_EQ(menuOf(QVRamDiskStatus_mounted, mode, type), expected) << mode << " " << type;
  };
  is(kNone, kPlain, {eject, rebuild, clean});
  is(QVRamDiskBackupMode_Base, kPlain, {eject, rebuild, synchronise, clean});
  is(QVRamDiskBackupMode_AppSupport, kPlain, {eject, rebuild, backup, clean});
  is(kDirectory, kBrowser, {eject, rebuild, backup, clean});
  is(kNone, kSimulator, {eject, rebuild, synchronise});
  is(kDirectory, kSimulator, {eject, rebuild, synchronise});
  runApplication("test.browser", "Browser");
  const std::string why = " \"Browser is running\"";
  is(kDirectory, kBrowser,
     {"Eject (off) [mi_statusEject:] {ejec}" + why, "Rebuild (off) [mi_rebuild:] {burn}" + why,
      backup, "Delete All Files (off) [mi_cleanUp:] {ftrh}" + why});
}

// There is nothing that it could be written back into.
TEST_F(DiskMenuTest, ABaseModeDiskWithoutADirectoryIsNotSynchronised) {
  start();
  const auto made = record("disk", QVRamDiskStatus_mounted, QVRamDiskBackupMode_Base);
  made->setMountDirectory(std::nullopt);
  std::vector<std::string> titles;
  for (const auto& item : open().items()) titles.push_back(item->title);
  EXPECT_EQ(std::count(titles.begin(), titles.end(), "Synchronise All"), 0);
  titles.clear();
  for (const auto& item : openDisk("disk").items()) titles.push_back(item->title);
  EXPECT_EQ(titles, (std::vector<std::string>{"Eject", "Rebuild", "Delete All Files"}));
}

TEST_F(DiskMenuTest, AnActionThatBeganMeanwhileIsReportedAndTheMenuIsBuilt) {
  start();
  const auto made = record("disk", QVRamDiskStatus_mounted);
  open();
  made->setAction(QVRamDiskActionEject);
  EXPECT_EQ(openDisk("disk").items().size(), 3U);
  EXPECT_EQ(log->count("Action is running:5"), 1U);
  ASSERT_EQ(alerts->shown.size(), 1U);
  EXPECT_TRUE(alerts->shown[0].text.ends_with("\nAction is running:%ld")) << alerts->shown[0].text;
}

TEST_F(DiskMenuTest, AMenuWithoutADiskStaysEmpty) {
  start();
  const auto stray = menu::Menu::qv_menuWithTitle<menu::Menu>("RamDiskMenu", controller, false);
  stray->addItem(menu::MenuItem::separatorItem());
  stray->needsUpdate();
  EXPECT_TRUE(stray->items().empty());
}

}  // namespace
