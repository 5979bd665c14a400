#include "device/QVRamDiskDevice.h"
#include "extensions/PropertyList.h"
#include "kinds/QVRamDiskManager.h"
#include "tests/support/EngineTest.h"

namespace {

class RecordTest : public EngineTest {};

// Where contents are kept, by kind, mode and directory.
TEST_F(RecordTest, WhatIsKeptWhereFollowsFromTheSettings) {
  const auto none = std::nullopt;
  const std::string support = *QVRamDiskManager::appSupportPath() + "/ID.TarnvaleBackup";
  struct Kept {
    QVRamDiskType type;
    QVRamDiskBackupMode mode;
    bool hasDirectory;
    bool inBase;
    std::optional<std::string> saves;
    bool ownsDirectory;
  };
  const auto plain = QVRamDiskType_Default;
  const Kept rows[] = {
      {plain, QVRamDiskBackupMode_None, true, false, none, true},
      {plain, QVRamDiskBackupMode_Base, true, true, savedBase("d"), false},
      {plain, QVRamDiskBackupMode_Base, false, false, none, true},
      {plain, QVRamDiskBackupMode_AppSupport, true, false, support, true},
      {plain, QVRamDiskBackupMode_Directory, false, false, "/b/ID.TarnvaleBackup", true},
      {QVRamDiskType_Firefox, QVRamDiskBackupMode_AppSupport, true, false, support, false},
      {QVRamDiskType_CoreSimulator, QVRamDiskBackupMode_AppSupport, true, true, savedBase("d"),
       false},
      {QVRamDiskType_CoreSimulator, QVRamDiskBackupMode_None, false, true, none, false},
  };
  for (const Kept& row : rows) {
    SCOPED_TRACE(testing::Message() << row.type << " " << row.mode << " " << row.hasDirectory);
    DiskSettings settings;
    settings.type = row.type;
    settings.backupMode = row.mode;
    settings.name = "d";
    settings.backupDir = "/b";
    if (row.hasDirectory) settings.mountDirectory = work;
    EXPECT_EQ(settings.isKeptInBase(), row.inBase);
    EXPECT_EQ(settings.folderOfSaves("ID"), row.saves);
    EXPECT_EQ(settings.ownsMountDirectory(), row.ownsDirectory);
  }
}

TEST_F(RecordTest, AKindThatIsNotAvailableMakesAPlainDiskUnlessSettingsAreKept) {
  const auto disk = QVRamDisk::init();
  disk->setName("mine");
  disk->setSize(kSize);
  disk->setBackupMode(QVRamDiskBackupMode_Base);
  disk->changeToType(QVRamDiskType_Safari, QVRamDiskChangeTypeKeepSettings);
  EXPECT_EQ(disk->name(), "mine");
  EXPECT_EQ(disk->backupMode(), QVRamDiskBackupMode_Base);
  disk->changeToType(QVRamDiskType_Safari, 0);
  EXPECT_EQ(disk->displayName(), "RamDisk");
  EXPECT_EQ(disk->size(), QVRamDisk::defaultCapSize());
  EXPECT_EQ(disk->backupMode(), QVRamDiskBackupMode_None);
}

TEST_F(RecordTest, AnAvailableKindBringsItsNameDirectoryAndSize) {
  platform::KindFacts facts;
  facts.type = QVRamDiskType_Firefox;
  facts.application.usualPlace = scratch.directory("firefox");
  facts.preset.checks = {{platform::PresetCheck::Test::Application, -1, {}, {}, 0, {}}};
  facts.preset.name = "cache";
  facts.preset.mountDirectory = home;
  facts.preset.size = 4'000'000'000;
  places->kinds = platform::KindTable{facts};
  const auto disk = QVRamDisk::init();
  disk->setPreferWired(true);
  disk->setBackupMode(QVRamDiskBackupMode_Base);
  disk->changeToType(QVRamDiskType_Firefox, QVRamDiskChangeTypeKeepSettings);
  EXPECT_EQ(disk->type(), QVRamDiskType_Firefox);
  EXPECT_EQ(disk->name(), "cache");
  EXPECT_EQ(disk->mountDirectory(), home);
  EXPECT_FALSE(disk->preferWired());
  EXPECT_NE(disk->size(), 4'000'000'000U);
  EXPECT_EQ(disk->backupMode(), QVRamDiskBackupMode_Base);
  disk->changeToType(QVRamDiskType_Firefox, 0);
  EXPECT_EQ(disk->size(), 4'000'000'000U);
  EXPECT_EQ(disk->backupMode(), QVRamDiskBackupMode_None);
  EXPECT_NE(disk->displayName(), "cache");
}

// The state that each way of finding the volume leads to.
TEST_F(RecordTest, TheRefreshFollowsTheVolume) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  const auto node = [&] { return disk->deviceNode().value_or(""); };
  ASSERT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  disk->update();
  EXPECT_FALSE(disk->update()) << "nothing changed since";
  EXPECT_EQ(disk->status(), QVRamDiskStatus_mounted);

  faults->fail("attributes");
  EXPECT_TRUE(disk->update());
  EXPECT_EQ(disk->volSize(), 0U);
  EXPECT_EQ(log->count("attributes==nil mountPoint:" + folder("cache")), 1U);
  disk->update();

  const auto path = disk->path();
  faults->fail("mounts");
  EXPECT_TRUE(disk->update());
  EXPECT_EQ(disk->status(), QVRamDiskStatus_notCreated);
  EXPECT_EQ(disk->path(), std::nullopt);
  EXPECT_EQ(log->count("mountPoint==nil infos:"), 1U);
  EXPECT_FALSE(disk->update()) << "without a path the device list is not asked";
  disk->setPath(path);
  disk->update();

  QVRamDiskDevice::setExtendedRamDiskInfos({{"identifier", "another"}, {"deviceNode", node()}},
                                           path);
  EXPECT_TRUE(disk->update());
  EXPECT_EQ(disk->status(), QVRamDiskStatus_notCreated);
  EXPECT_EQ(disk->path(), path);
  QVRamDiskDevice::setExtendedRamDiskInfos({{"identifier", *disk->identifier()}}, path);
  disk->update();
  EXPECT_EQ(disk->status(), QVRamDiskStatus_notCreated) << "a label without a device node";
  platform::services().volumes->removeAttribute(*path, kRamDiskInfoAttributeName);
  disk->update();
  EXPECT_EQ(disk->path(), std::nullopt);
  EXPECT_EQ(log->count("getExtentedRamDiskInfos==NO"), 1U);
}

TEST_F(RecordTest, AVolumeMountedElsewhereIsFoundByItsDevice) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  ASSERT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  disk->setPath(work + "/gone");
  EXPECT_FALSE(disk->update()) << "the status stays mounted";
  EXPECT_EQ(disk->path(), folder("cache"));
  disk->setPath(work + "/gone");
  disk->setDeviceNode("/dev/disk99");
  EXPECT_TRUE(disk->update());
  EXPECT_EQ(disk->status(), QVRamDiskStatus_notCreated);
}

TEST_F(RecordTest, ContentsAreWhatTheUserPutThere) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  ASSERT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  for (const char* system : {".DS_Store", ".fseventsd", ".Trashes", ".localized"})
    scratch.file("home/desk/cache/" + std::string(system));
  EXPECT_EQ(disk->hasContents(), 0);
  scratch.file("home/desk/cache/mine");
  EXPECT_EQ(disk->hasContents(), 1);
  faults->fail("names");
  EXPECT_EQ(disk->hasContents(), -1);
  EXPECT_EQ(log->count("contents==nil path:" + folder("cache")), 1U);
  disk->setAction(QVRamDiskActionBackup);
  EXPECT_EQ(disk->hasContents(), -1);
}

TEST_F(RecordTest, ADiskForASimulatorDeviceBearsTheDevicesName) {
  const std::string devices = "home/Library/Developer/CoreSimulator/Devices/";
  const auto putDevice = [&](const std::string& id, const std::string& name) {
    extensions::PropertyList::Dictionary facts;
    facts["name"] = name;
    facts["deviceType"] = "com.apple.CoreSimulator.SimDeviceType.iPhone-8";
    facts["runtime"] = "com.apple.CoreSimulator.SimRuntime.iOS-12-1";
    scratch.file(devices + id + "/device.plist", extensions::binaryPropertyList(facts));
  };
  platform::KindFacts facts;
  facts.type = QVRamDiskType_CoreSimulator;
  facts.preset.size = kSize;
  places->kinds = platform::KindTable{facts};
  const auto disk = QVRamDisk::init();
  disk->setSimId("AB-1");
  disk->changeToType(QVRamDiskType_CoreSimulator, 0);
  EXPECT_EQ(disk->displayName(), "AB-1") << "no such device";
  putDevice("AB-1", "Phone");
  putDevice("AB-2", "Tablet");
  EXPECT_EQ(disk->displayName(), "Phone (12-1)");
  putDevice("AB-1", "Renamed");
  EXPECT_EQ(disk->displayName(), "Phone (12-1)") << "it is looked up once";
  disk->changeToType(QVRamDiskType_CoreSimulator, 0);
  EXPECT_EQ(disk->displayName(), "Renamed (12-1)");
  disk->setSimId("AB-2");
  EXPECT_EQ(disk->displayName(), "Tablet (12-1)");
  disk->setSimId(std::nullopt);
  EXPECT_EQ(disk->displayName(), "Simulator Devices");
}

}  // namespace
