#include "system/DiskPlaces.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/support/DoubleServices.h"

namespace {

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

// What a disk has in one folder is apart, and so is what two disks have.
TEST(DiskPlacesTest, NoTwoPlacesAreOne) {
  std::set<std::string> places;
  std::size_t made = 0;
  for (const std::string id : {"A", "B"})
    for (const std::string& folder :
         {backupFolder("/s", id), deviceNote("/s", id), lookPlace("/s", id), lockFile("/s", id)})
      for (const auto& place : {folder, previousOf(folder), incompleteMarkOf(folder)}) {
        places.insert(place);
        ++made;
      }
  EXPECT_EQ(places.size(), made);
}

}  // namespace
