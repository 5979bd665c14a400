#include "system/QVMacInfo.h"
#include "tests/menu/MenuTest.h"

namespace {

class DiskMenuTest : public MenuTest {
 protected:
  // The submenu of a record that is made so; without a path nothing is listed.
  Lines menuOf(QVRamDiskStatus status, QVRamDiskBackupMode mode = QVRamDiskBackupMode_None,
               QVRamDiskType type = QVRamDiskType_Default) {
    start();
    const auto made = record("disk", status, mode, type);
    open();
    return lines(openDisk(made->displayName().value_or("")));
  }
};

TEST_F(DiskMenuTest, ACreatedDiskIsMountedOnlyWhileItsApplicationRuns) {
  const auto created = QVRamDiskStatus_created;
  EXPECT_EQ(menuOf(created), (Lines{"Mount (off) [mi_statusMount:] {rmov} = disk disk"}));
  runApplication("test.browser", "Browser");
  EXPECT_EQ(menuOf(created), (Lines{"Mount (off) [mi_statusMount:] {rmov} = disk disk"}));
  EXPECT_EQ(menuOf(created, QVRamDiskBackupMode_None, QVRamDiskType_Firefox),
            (Lines{"Mount [mi_statusMount:] {rmov} \"Browser is running\" = disk disk"}));
}

TEST_F(DiskMenuTest, WhatIsNotCreatedCanBeUnlessSomethingSpeaksAgainstIt) {
  const auto absent = QVRamDiskStatus_notCreated;
  const Lines allowed = {"Create [mi_menu:#2] {rmov} = disk disk"};
  EXPECT_EQ(menuOf(absent), allowed);
  EXPECT_EQ(menuOf(static_cast<QVRamDiskStatus>(7)), allowed);
  runApplication("test.browser", "Browser");
  EXPECT_EQ(menuOf(absent, QVRamDiskBackupMode_None, QVRamDiskType_Firefox),
            (Lines{"Create (off) [mi_menu:#2] {rmov} \"Browser is running\" = disk disk"}));
  machine->memory = 1ULL << 27U;
  QVMacInfo::forgetCachedAnswers();
  EXPECT_EQ(
      menuOf(absent),
      (Lines{"Create (off) [mi_menu:#2] {rmov} \"Insuffisant computer memory\" = disk disk"}));
}

TEST_F(DiskMenuTest, WhatCanBeDoneToAMountedDisk) {
  const std::string eject = "Eject [mi_statusEject:] {ejec} = disk disk";
  const std::string rebuild = "Rebuild [mi_rebuild:] {burn} = disk disk";
  const std::string synchronise = "Synchronise Now [mi_backupNow:#2] {syncIcon} = disk disk";
  const std::string backup = "Backup Now [mi_backupNow:#1] {syncIcon} = disk disk";
  const std::string clean = "Delete All Files [mi_cleanUp:] {ftrh} = disk disk";
  struct Case {
    QVRamDiskBackupMode mode;
    QVRamDiskType type;
    Lines expected;
  };
  const std::vector<Case> cases = {
      {QVRamDiskBackupMode_None, QVRamDiskType_Default, {eject, rebuild, clean}},
      {QVRamDiskBackupMode_Base, QVRamDiskType_Default, {eject, rebuild, synchronise, clean}},
      {QVRamDiskBackupMode_AppSupport, QVRamDiskType_Default, {eject, rebuild, backup, clean}},
      {QVRamDiskBackupMode_Directory, QVRamDiskType_Firefox, {eject, rebuild, backup, clean}},
      {QVRamDiskBackupMode_None, QVRamDiskType_CoreSimulator, {eject, rebuild, synchronise}},
      {QVRamDiskBackupMode_Directory, QVRamDiskType_CoreSimulator, {eject, rebuild, synchronise}}};
  for (const auto& [mode, type, expected] : cases)
    EXPECT_EQ(menuOf(QVRamDiskStatus_mounted, mode, type), expected) << mode << " " << type;
}

TEST_F(DiskMenuTest, WhileItsApplicationRunsAMountedDiskCanOnlyBeSaved) {
  runApplication("test.browser", "Browser");
  const std::string why = "\"Browser is running\" = disk disk";
  EXPECT_EQ(menuOf(QVRamDiskStatus_mounted, QVRamDiskBackupMode_Directory, QVRamDiskType_Firefox),
            (Lines{"Eject (off) [mi_statusEject:] {ejec} " + why,
                   "Rebuild (off) [mi_rebuild:] {burn} " + why,
                   "Backup Now [mi_backupNow:#1] {syncIcon} = disk disk",
                   "Delete All Files (off) [mi_cleanUp:] {ftrh} " + why}));
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
