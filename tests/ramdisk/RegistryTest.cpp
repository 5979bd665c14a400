#include <filesystem>

#include "core/Identifiers.h"
#include "extensions/PropertyList.h"
#include "ramdisk/QVRamDiskEntries.h"
#include "tests/support/EngineTest.h"

namespace {

namespace fs = std::filesystem;
using extensions::PropertyList;
using Names = std::vector<std::string>;

class RegistryTest : public EngineTest {
 protected:
  std::shared_ptr<QVRamDiskEntries> withDisks(const Names& names) {
    auto entries = QVRamDiskEntries::init();
    for (const auto& name : names) entries->addRamDisk()->setName(name);
    return entries;
  }
  static Names names(const QVRamDiskEntries& entries) {
    Names found;
    for (const auto& disk : entries.ramDisks()) found.push_back(disk->name().value_or("-"));
    return found;
  }
  std::shared_ptr<QVRamDiskEntries> reread() {
    auto entries = QVRamDiskEntries::init();
    EXPECT_FALSE(entries->readRamDisksFromDefaultLocation());
    return entries;
  }
  std::string file() { return RegistryFile::defaultPath().value_or(""); }
};

TEST_F(RegistryTest, SettingsComeBackAndObservationsDoNot) {
  auto entries = withDisks({"first"});
  const auto disk = entries->ramDisks()[0];
  disk->setFormat(QVRamDiskFormat_CaseSensitiveHFSPlus);
  disk->setSize(0xF000'0000'0000'0000);  // beyond the signed range
  disk->setMountDirectory(home + "/desk");
  disk->setSimId("SIM");
  disk->setPreferWired(true);
  disk->setCreateAtLogin(true);
  disk->setDoNotCalculateBaseSize(true);
  disk->setPostCmd("make & <test>");
  disk->setPostCmdArgs({{"-C", "", "caf\xC3\xA9"}});
  disk->setMdIndexMode(QVRamDiskMdIndexMode_Off);
  disk->setBackupMode(QVRamDiskBackupMode_Directory);
  disk->setBackupDir("~/not expanded");
  disk->setVolSize(5);
  disk->setUuid("U");
  disk->setDevUUID(7);
  entries->setShowInMenuBarAtLogin(true);
  ASSERT_TRUE(entries->writeRamDisksToDefaultLocation());

  const auto again = reread();
  ASSERT_EQ(names(*again), Names{"first"});
  const auto read = again->ramDisks()[0];
  EXPECT_TRUE(read->isEqual(disk));
  EXPECT_EQ(read->format(), disk->format());
  EXPECT_EQ(read->size(), disk->size());
  EXPECT_EQ(read->mountDirectory(), home + "/desk");
  EXPECT_EQ(read->simId(), "SIM");
  EXPECT_TRUE(read->preferWired() && read->createAtLogin() && read->doNotCalculateBaseSize());
  EXPECT_EQ(read->postCmd(), disk->postCmd());
  EXPECT_EQ(read->postCmdArgs(), disk->postCmdArgs());
  EXPECT_EQ(read->mdIndexMode(), QVRamDiskMdIndexMode_Off);
  EXPECT_EQ(read->backupMode(), QVRamDiskBackupMode_Directory);
  EXPECT_EQ(read->backupDir(), "~/not expanded");
  EXPECT_EQ(read->volSize(), 0U);
  EXPECT_EQ(read->uuid(), std::nullopt);
  EXPECT_EQ(read->devUUID(), std::nullopt);
  EXPECT_FALSE(again->showInMenuBar());
  EXPECT_TRUE(again->showInMenuBarAtLogin());
}

TEST_F(RegistryTest, HomeFoldersAreKeptAbbreviated) {
  auto entries = withDisks({"a"});
  entries->ramDisks()[0]->setMountDirectory(home + "/desk");
  entries->writeRamDisksToDefaultLocation();
  const auto dictionary = extensions::parsePropertyList(readFile(file()));
  ASSERT_TRUE(dictionary);
  const auto* archive = dictionary->find("RamDiskEntries")->data();
  ASSERT_NE(archive, nullptr);
  EXPECT_NE(archive->bytes.find("~/desk"), std::string::npos);
  EXPECT_EQ(archive->bytes.find(home), std::string::npos);
}

TEST_F(RegistryTest, MovingFollowsGapPositions) {
  struct Row {
    std::size_t from;
    std::int64_t gap;
    bool moves;
    Names expected;
  };
  for (const Row& row : {Row{0, 3, true, {"1", "2", "0"}}, Row{2, 0, true, {"2", "0", "1"}},
                         Row{1, 1, true, {"0", "1", "2"}}, Row{1, 2, true, {"0", "1", "2"}},
                         Row{0, 2, true, {"1", "0", "2"}}, Row{0, 4, false, {"0", "1", "2"}},
                         Row{0, QVRamDiskEntries::kNotFound, false, {"0", "1", "2"}}}) {
    auto entries = withDisks({"0", "1", "2"});
    EXPECT_EQ(entries->setPositionIndex(row.gap, entries->ramDisks()[row.from]), row.moves);
    EXPECT_EQ(names(*entries), row.expected);
  }
  auto entries = withDisks({"0"});
  EXPECT_FALSE(entries->setPositionIndex(0, QVRamDisk::init()));
  EXPECT_FALSE(entries->setPositionIndex(0, nullptr));
}

TEST_F(RegistryTest, TheListHoldsFifteenAndNamesTheNextSelection) {
  auto entries = withDisks(Names(15, "x"));
  EXPECT_EQ(entries->addRamDisk(), nullptr);
  EXPECT_EQ(entries->ramDisks().size(), 15U);
  auto three = withDisks({"0", "1", "2"});
  const auto disks = three->ramDisks();
  EXPECT_EQ(three->removeEntry(nullptr), nullptr);
  EXPECT_EQ(three->removeEntry(disks[2]), disks[1]);
  EXPECT_EQ(three->removeEntry(disks[0]), disks[1]);
  EXPECT_EQ(three->indexOfRamDiskWithIdentifier(disks[1]->identifier()), 0);
  EXPECT_EQ(three->ramDiskWithIdentifier("no such"), nullptr);
  EXPECT_EQ(three->removeEntry(disks[1]), nullptr);
}

// A record of the kind that has no preset, with nothing else in it.
struct ReservedRecord : extensions::KeyedArchivable {
  std::vector<std::string> archiveClasses() const override { return {"QVRamDisk", "NSObject"}; }
  void encodeWithCoder(extensions::KeyedArchiver& coder) const override {
    coder.encodeInteger("type", QVRamDiskType_Reserved);
  }
};

TEST_F(RegistryTest, KeysOfOthersAreKeptAndReservedKindsAreNot) {
  EXPECT_EQ(reread()->ramDisks().size(), 0U);
  EXPECT_TRUE(log->entries().empty()) << "a missing file is no fault";
  const auto plain = withDisks({"plain"})->ramDisks()[0];
  const PropertyList dictionary = PropertyList::Dictionary{
      {"saveAtSessionEnd", false},
      {"theirs", std::string("\xC3\xA9\0z", 4)},
      {"RamDiskEntries", PropertyList::Data{extensions::archivedDataWithRootObject(
                             {std::make_shared<ReservedRecord>(), plain})}}};
  scratch.file(file().substr(scratch.path().size() + 1),
               extensions::binaryPropertyList(dictionary));
  const auto entries = reread();
  EXPECT_EQ(names(*entries), Names{"plain"});
  EXPECT_TRUE(entries->writeRamDisksToDefaultLocation());
  const auto written = extensions::parsePropertyList(readFile(file()));
  ASSERT_TRUE(written && written->find("saveAtSessionEnd"));
  EXPECT_EQ(written->find("saveAtSessionEnd")->boolean(), false);
  EXPECT_EQ(*written->find("theirs")->string(), "\xC3\xA9\uFFFDz") << "as far as XML can hold it";
}

TEST_F(RegistryTest, WhatNobodyCouldReadAgainReplacesNothing) {
  const auto entries = withDisks({"plain"});
  ASSERT_TRUE(entries->writeRamDisksToDefaultLocation());
  const std::string before = readFile(file());
  entries->ramDisks()[0]->setPostCmd(std::string(26'000'000, 'x'));  // more than is ever read
  EXPECT_FALSE(entries->writeRamDisksToDefaultLocation());
  EXPECT_EQ(log->count("could not be read again"), 1U);
  EXPECT_EQ(readFile(file()), before);
}

TEST_F(RegistryTest, WhatCannotBeReadIsKeptBesideBeforeItIsReplaced) {
  const std::string good = [&] {
    withDisks({"a"})->writeRamDisksToDefaultLocation();
    return readFile(file());
  }();
  const auto withArchive = [](const std::string& bytes) {
    return extensions::xmlPropertyList(
        PropertyList::Dictionary{{"RamDiskEntries", PropertyList::Data{bytes}}});
  };
  struct Row {
    const char* title;
    std::string contents;
    const char* logged;
  };
  for (const Row& row :
       {Row{"cut off", good.substr(0, good.size() / 2), "dico==nil path:"},
        Row{"not a dictionary", "<plist><array/></plist>", "dico==nil path:"},
        Row{"a damaged archive", withArchive("bplist00garbage"),
            "NSKeyedUnarchiver unarchiveObjectWithData localException:"},
        Row{"an archive of another type",
            extensions::xmlPropertyList(PropertyList::Dictionary{{"RamDiskEntries", "text"}}),
            "ramDisks==nil"}}) {
    SCOPED_TRACE(row.title);
    fs::remove_all(fs::path(file()).parent_path());
    scratch.file(file().substr(scratch.path().size() + 1), row.contents);
    log->clear();
    auto entries = withDisks({"before"});
    entries->readRamDisksFromDefaultLocation();
    EXPECT_EQ(log->count(row.logged), 1U);
    EXPECT_EQ(names(*entries), Names{"before"}) << "the list stays as it was";
    EXPECT_TRUE(entries->writeRamDisksToDefaultLocation());
    EXPECT_EQ(readFile(file() + ".damaged"), row.contents);
    EXPECT_EQ(names(*reread()), Names{"before"});
    EXPECT_TRUE(entries->writeRamDisksToDefaultLocation());
    EXPECT_FALSE(fs::exists(file() + ".damaged-2"));
  }
}

TEST_F(RegistryTest, ADamagedFileThatCannotBeKeptIsNotReplaced) {
  scratch.file(file().substr(scratch.path().size() + 1), "damaged");
  faults->fail("replaceContents");
  EXPECT_FALSE(withDisks({"a"})->writeRamDisksToDefaultLocation());
  EXPECT_EQ(faults->hits(), 1);
  EXPECT_EQ(readFile(file()), "damaged");
  fs::remove(file());
  faults->fail("replaceContents");
  EXPECT_FALSE(withDisks({"a"})->writeRamDisksToDefaultLocation());
  EXPECT_EQ(log->count("writeToFile==NO path:" + file()), 1U);
}

TEST_F(RegistryTest, ADamagedFileIsCopiedOnceAndAnotherDamageBesideIt) {
  const auto put = [&](const char* bytes) {
    scratch.file(file().substr(scratch.path().size() + 1), bytes);
  };
  put("damaged");
  faults->fail("replaceContents", 2);  // the registry itself, when the copy is made
  EXPECT_FALSE(withDisks({"a"})->writeRamDisksToDefaultLocation());
  EXPECT_EQ(faults->hits(), 1);
  faults->clear();
  EXPECT_TRUE(withDisks({"a"})->writeRamDisksToDefaultLocation());
  EXPECT_EQ(readFile(file() + ".damaged"), "damaged");
  EXPECT_FALSE(fs::exists(file() + ".damaged-2")) << "it is there already";
  put("damaged otherwise");
  EXPECT_TRUE(withDisks({"a"})->writeRamDisksToDefaultLocation());
  EXPECT_EQ(readFile(file() + ".damaged"), "damaged");
  EXPECT_EQ(readFile(file() + ".damaged-2"), "damaged otherwise");
}

TEST_F(RegistryTest, LoadingFindsTheVolumeOfAnOlderRecord) {
  const auto disk = diskOver("cache", QVRamDiskBackupMode_None);
  ASSERT_EQ(perform(QVRamDiskActionCreate, disk), nullptr);
  const auto number = platform::services().volumes->deviceNumber(folder("cache"));
  ASSERT_TRUE(number);
  // As an older version wrote it: no device node and no path, but the volume's own number.
  const PropertyList::Dictionary record = {{"$class", PropertyList::Uid{4}},
                                           {"identifier", PropertyList::Uid{3}},
                                           {"devUUID", PropertyList::Uid{6}}};
  const PropertyList archive = PropertyList::Dictionary{
      {"$version", 100000},
      {"$archiver", "NSKeyedArchiver"},
      {"$top", PropertyList::Dictionary{{"root", PropertyList::Uid{1}}}},
      {"$objects",
       PropertyList::Array{
           "$null",
           PropertyList::Dictionary{{"$class", PropertyList::Uid{5}},
                                    {"NS.objects", PropertyList::Array{PropertyList::Uid{2}}}},
           record, "OLD-ID",
           PropertyList::Dictionary{
               {"$classname", "QVRamDiskEntry"},
               {"$classes", PropertyList::Array{"QVRamDiskEntry", "QVRamDisk", "NSObject"}}},
           PropertyList::Dictionary{{"$classname", "NSArray"},
                                    {"$classes", PropertyList::Array{"NSArray", "NSObject"}}},
           *number}}};
  scratch.file(
      file().substr(scratch.path().size() + 1),
      extensions::xmlPropertyList(PropertyList::Dictionary{
          {"RamDiskEntries", PropertyList::Data{extensions::binaryPropertyList(archive)}}}));
  const auto entries = reread();
  ASSERT_EQ(entries->ramDisks().size(), 1U);
  const auto found = entries->ramDisks()[0];
  EXPECT_EQ(found->deviceNode(), disk->deviceNode());
  EXPECT_EQ(found->path(), folder("cache"));
  EXPECT_EQ(found->status(), QVRamDiskStatus_mounted);
  EXPECT_FALSE(QVRamDisk::init()->isEqual(found));
  EXPECT_FALSE(found->isEqual(disk)) << "a record of a class below is never equal to one above";
}

TEST_F(RegistryTest, TheRefreshTellsTheDelegateWhatChanged) {
  struct Delegate : QVRamDiskEntriesDelegate {
    void ramDiskEntries(QVRamDiskEntries&, const QVRamDiskPtr&) override { ++actions; }
    void ramDiskEntriesUpdator(QVRamDiskEntries&, const QVRamDiskPtr&) override { ++updates; }
    int actions = 0;
    int updates = 0;
  };
  const auto delegate = std::make_shared<Delegate>();
  const auto entries = QVRamDiskEntries::initWithDelegate(delegate);
  const auto disk = entries->addRamDisk();
  disk->setName("cache");
  disk->setMountDirectory(work);
  disk->setSize(kSize);
  entries->create(disk, 0);
  EXPECT_EQ(delegate->actions, 5);
  entries->setUpdator(2);
  EXPECT_EQ(loop->timerCount(), 0U);
  entries->setUpdator(1);
  entries->setUpdator(1);
  EXPECT_EQ(loop->timerCount(), 1U);
  EXPECT_EQ(loop->lastInterval, std::chrono::seconds(1));
  loop->fire();
  const int before = delegate->updates;
  loop->fire();
  EXPECT_EQ(delegate->updates, before) << "nothing changed";
  scratch.file("home/desk/cache/file", std::string(100'000, 'x'));
  disk->setAction(QVRamDiskActionBackup);
  loop->fire();
  EXPECT_EQ(delegate->updates, before) << "a busy record is left alone";
  disk->setAction(QVRamDiskActionNone);
  loop->fire();
  EXPECT_EQ(delegate->updates, before + 1);
  EXPECT_GT(disk->diskUsage(), 0.0);
  entries->setUpdator(0);
  EXPECT_EQ(loop->timerCount(), 0U);
}

TEST_F(RegistryTest, WaitingGivesUpAfterThirtySeconds) {
  const auto entries = withDisks({"a"});
  entries->waitingEndAll();
  EXPECT_EQ(loop->slept.count(), 0);
  entries->ramDisks()[0]->setAction(QVRamDiskActionEject);
  entries->waitingEndAll();
  EXPECT_EQ(loop->slept, std::chrono::seconds(30));
  EXPECT_EQ(log->count("Waiting "), 120U);
  EXPECT_EQ(log->count("Waiting 120"), 1U);
}

TEST_F(RegistryTest, TheHelperIsWantedForTheMenuOrForADisk) {
  const auto entries = withDisks({"a"});
  EXPECT_FALSE(entries->wantsHelperAtLogin());
  entries->setShowInMenuBar(true);
  EXPECT_FALSE(entries->wantsHelperAtLogin());
  entries->setShowInMenuBarAtLogin(true);
  EXPECT_TRUE(entries->wantsHelperAtLogin());
  entries->setShowInMenuBar(false);
  entries->ramDisks()[0]->setCreateAtLogin(true);
  EXPECT_TRUE(entries->wantsHelperAtLogin());
  QVRamDiskEntries::postDidChangeToAllNotificationWithSender("Tarnvale-App");
  ASSERT_EQ(notifications->posted.size(), 1U);
  EXPECT_EQ(notifications->posted[0].name + "|" + notifications->posted[0].object,
            "QVRamDiskEntriesDidChangeToAllNotification|Tarnvale-App");
}

TEST_F(RegistryTest, TheLoginItemFollowsTheDisksAndTheMenu) {
  const auto applications = std::make_shared<doubles::FakeApplications>();
  const auto items = std::make_shared<doubles::FakeLoginItems>();
  auto services = platform::services();
  services.applications = applications;
  services.loginItems = items;
  platform::install(services);
  const std::string helper = scratch.file("Tarnvale-Helper");
  applications->paths[kHelperBundleId] = helper;
  items->items = {{"Tarnvale-Helper", "old", std::nullopt, true}};
  const auto entries = withDisks({"a"});
  entries->ramDisks()[0]->setCreateAtLogin(true);
  entries->synchronizeHelperAuto();
  EXPECT_TRUE(items->removals.empty()) << "nothing is pending";
  entries->setNeedsSynchronizeHelper(false);
  entries->synchronizeHelperAuto();
  EXPECT_FALSE(entries->needsSynchronizeHelper());
  ASSERT_EQ(items->items.size(), 1U);
  EXPECT_EQ(items->items[0].path, helper);
  entries->synchronizeHelper();
  EXPECT_EQ(items->items.size(), 1U);
  entries->ramDisks()[0]->setCreateAtLogin(false);
  entries->synchronizeHelper();
  EXPECT_TRUE(items->items.empty());
  const auto removals = items->removals.size();
  entries->synchronizeHelper();
  EXPECT_EQ(items->removals.size(), removals);
}

}  // namespace
