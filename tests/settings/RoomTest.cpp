#include <set>

#include "platform/linux/LinuxServices.h"
#include "ramdisk/ActionLock.h"
#include "ramdisk/RegistryFile.h"
#include "settings/DiskState.h"
#include "settings/Draft.h"
#include "settings/Edits.h"
#include "settings/TypedText.h"
#include "system/QVMacInfo.h"
#include "tests/support/Doubles.h"
#include "tests/support/EngineTest.h"
#include "tests/support/OtherProgram.h"

namespace {

using namespace settings;
using Words = std::vector<std::string>;

TEST(CommandTexts, AreSplitAsAShellDoes) {
  const std::pair<const char*, Words> cases[] = {
      {"", {}},
      {"  sh  -c ", {"sh", "-c"}},
      {"sh -c \"echo a b\"", {"sh", "-c", "echo a b"}},
      {"a\"b c\"d 'e f'", {"ab cd", "e f"}},
      {"x '' \"\"", {"x", "", ""}},
      {R"(a\ b "c\"d" 'e\f' "g\h")", {"a b", "c\"d", R"(e\f)", R"(g\h)"}},
      {"a 'b c", {"a", "b c"}},
      {"a\\", {"a\\"}}};
  for (const auto& [text, words] : cases) EXPECT_EQ(wordsOfCommand(text), words) << text;
}

TEST(CommandTexts, GiveTheirWordsAgain) {
  for (const auto& words : {Words{}, Words{"/bin/sh"}, Words{"a b", "", "\"", "'", "\\", "$x"},
                            Words{"é", "tab\there", "two\nlines", "x\\\"y"}})
    EXPECT_EQ(wordsOfCommand(commandText(words)), words) << commandText(words);
  EXPECT_EQ(commandText({"sh", "-c", "echo é"}), "sh -c \"echo é\"");
}

TEST(SizePartsTest, StandForExactlyTheirBytes) {
  for (const std::uint64_t bytes :
       {128'000'000ULL, 1'000'000'000ULL, 1ULL << 30U, 1'500'000'001ULL, 128'000'000'000ULL,
        999'999'999ULL, (3ULL << 29U), 134'217'729ULL, 7ULL}) {
    const auto parts = sizeParts(bytes);
    EXPECT_EQ(bytesOfParts(parts.number, parts.unit), bytes) << parts.number << parts.unit;
  }
  EXPECT_EQ(sizeParts(1'500'000'000).number + sizeParts(1'500'000'000).unit, "1.5GB");
  EXPECT_EQ(sizeParts(2ULL << 30U).unit, "GiB");
  EXPECT_EQ(bytesOfParts(" 1,5 ", "GB"), 1'500'000'000U);
  for (const char* wrong : {"", "x", "-1", "1 2", "1.5.1"})
    EXPECT_EQ(bytesOfParts(wrong, "GB"), std::nullopt) << wrong;
}

class RoomTest : public EngineTest {
 protected:
  RoomTest() {
    auto services = platform::services();
    services.machine = machine;
    platform::install(services);
    QVMacInfo::forgetCachedAnswers();
  }
  ~RoomTest() override { QVMacInfo::forgetCachedAnswers(); }

  static std::vector<QVRamDiskPtr> saved() {
    return RegistryFile(RegistryFile::defaultPath().value()).read().value().ramDisks;
  }

  std::shared_ptr<doubles::FakeMachine> machine = std::make_shared<doubles::FakeMachine>();
  Registry registry;
};

// What a draft is made into is what turns into it by its change, however many settings differ.
TEST_F(RoomTest, AChangeTellsAllThatDiffers) {
  const auto before = diskOver("one", QVRamDiskBackupMode_None);
  const auto after = copyOf(*before);
  EXPECT_TRUE(changeBetween(*before, *after).isEmpty());
  after->setName("two");
  after->setMountDirectory(std::nullopt);
  after->setSize(1);
  after->setBackupMode(QVRamDiskBackupMode_Directory);
  after->setBackupDir(work);
  after->setPostCmd("/bin/sh");
  after->setPostCmdArgs(Words{"-c", "true"});
  after->setMdIndexMode(QVRamDiskMdIndexMode_Off);
  after->setFormat(QVRamDiskFormat_CaseSensitiveHFSPlus);
  after->setCreateAtLogin(true);
  after->setDoNotCalculateBaseSize(true);
  const auto made = copyOf(*before);
  assign(*made, changeBetween(*before, *after));
  EXPECT_TRUE(changeBetween(*made, *after).isEmpty());
  EXPECT_EQ(made->mountDirectory(), std::nullopt);
  EXPECT_EQ(made->postCmdArgs(), after->postCmdArgs());
}

TEST_F(RoomTest, DisksAreAddedUnderNamesOfTheirOwnUpToTheMost) {
  Identifier added;
  std::set<std::string> names;
  for (std::size_t i = 0; i < QVRamDiskEntries::kMostRamDisks; ++i)
    ASSERT_TRUE(addDisk(registry, added));
  for (const auto& disk : saved()) names.insert(disk->name().value());
  EXPECT_EQ(names.size(), 15U);
  EXPECT_TRUE(names.contains("RamDisk") && names.contains("RamDisk 15"));
  EXPECT_EQ(addDisk(registry, added).error().trouble, Trouble::Full);
  EXPECT_EQ(saved().size(), 15U);
}

TEST_F(RoomTest, EachEditKeepsWhatOthersSavedMeanwhile) {
  Identifier one;
  Identifier two;
  ASSERT_TRUE(addDisk(registry, one) && addDisk(registry, two));
  Registry other;
  Change bigger;
  bigger.size = 300'000'000;
  ASSERT_TRUE(changeDisk(other, one, bigger));
  Change named;
  named.name = "mine";
  ASSERT_TRUE(changeDisk(registry, two, named));
  EXPECT_EQ(saved().at(0)->size(), 300'000'000U);
  EXPECT_EQ(saved().at(1)->name(), "mine");
  ASSERT_TRUE(moveDisk(other, two, 0));
  Identifier next;
  ASSERT_TRUE(removeDisk(registry, one, next));
  EXPECT_EQ(next, two);
  EXPECT_EQ(changeDisk(other, one, bigger).error().trouble, Trouble::Gone);
  ASSERT_EQ(saved().size(), 1U);
}

TEST_F(RoomTest, ProgramsThatEditTogetherLoseNothing) {
  Identifier shared;
  ASSERT_TRUE(addDisk(registry, shared));
  auto services = platform::services();
  services.mainLoop = platform::linuxServices({}).mainLoop;  // which sleeps
  platform::install(services);
  constexpr int kRounds = 30;
  const auto addsAndRemoves = [](OtherProgram&) {
    Registry own;
    Identifier kept;
    Identifier added;
    Identifier next;
    for (int round = 0; round < kRounds; ++round) {
      if (!addDisk(own, added) || (kept && !removeDisk(own, kept, next))) return false;
      kept = added;
    }
    return true;
  };
  OtherProgram one(addsAndRemoves);
  OtherProgram two(addsAndRemoves);
  OtherProgram movesAndSwitches([&](OtherProgram&) {
    Registry own;
    for (int round = 0; round < kRounds; ++round)
      if (!moveDisk(own, shared, round % 3) || !setSaveAtSessionEnd(own, false)) return false;
    return static_cast<bool>(setMenuBar(own, true, {}));
  });
  for (int round = 1; round <= kRounds; ++round) {
    Change bigger;
    bigger.size = 300'000'000 + static_cast<std::uint64_t>(round);
    EXPECT_TRUE(changeDisk(registry, shared, bigger));
  }
  EXPECT_TRUE(one.ended() && two.ended() && movesAndSwitches.ended());
  EXPECT_TRUE(registry.load());
  EXPECT_EQ(registry.disks().size(), 3U);
  ASSERT_TRUE(registry.entries().ramDiskWithIdentifier(shared));
  EXPECT_EQ(registry.entries().ramDiskWithIdentifier(shared)->size(), 300'000'000U + kRounds);
  EXPECT_TRUE(registry.entries().showInMenuBar() && !registry.entries().saveAtSessionEnd());
}

TEST_F(RoomTest, WhatIsMovedGoesWhereItWasDroppedThoughOthersChangeTheList) {
  std::vector<Identifier> disks(4);
  for (auto& disk : disks) ASSERT_TRUE(addDisk(registry, disk));
  Registry other;
  ASSERT_TRUE(moveDisk(registry, disks[3], 1) && moveDisk(other, disks[0], 9));  // 3 1 2 0
  ASSERT_TRUE(registry.load() && moveDisk(other, disks[0], 0));                  // 0 3 1 2
  Identifier added;
  ASSERT_TRUE(addDisk(other, added));
  ASSERT_TRUE(moveDisk(registry, disks[3], 2)) << "before 2";
  std::vector<Identifier> order;
  for (const auto& disk : saved()) order.push_back(disk->identifier());
  EXPECT_EQ(order, (std::vector<Identifier>{disks[0], disks[1], disks[3], disks[2], added}));
  ASSERT_TRUE(addDisk(other, added) && moveDisk(registry, disks[0], 5));
  EXPECT_EQ(saved().back()->identifier(), disks[0]) << "after the last";
}

TEST_F(RoomTest, ADiskThatAnotherProgramActsOnStaysAsItIs) {
  Identifier one;
  ASSERT_TRUE(addDisk(registry, one));
  OtherProgram other([&](OtherProgram& self) {
    const auto lock = ActionLock::takeIfFree(one);
    self.tell();
    return OtherProgram::hang();
  });
  ASSERT_TRUE(other.waitUntilTold());
  Change change;
  change.atLogin = true;
  EXPECT_TRUE(changeDisk(registry, one, change));
  change.size = 300'000'000;
  EXPECT_EQ(changeDisk(registry, one, change).error().trouble, Trouble::Acting);
  Identifier next;
  EXPECT_EQ(removeDisk(registry, one, next).error().trouble, Trouble::Acting);
  other.kill();
  EXPECT_TRUE(changeDisk(registry, one, change) && removeDisk(registry, one, next));
}

// A change that is refused leaves nothing of itself in the list that is held.
TEST_F(RoomTest, WhatIsRefusedChangesNothing) {
  Identifier one;
  ASSERT_TRUE(addDisk(registry, one));
  Change wrong;
  wrong.name = "new";
  wrong.size = 1;
  EXPECT_EQ(changeDisk(registry, one, wrong).error().field, Field::Size);
  EXPECT_EQ(registry.disks().at(0)->name(), "RamDisk");
}

TEST_F(RoomTest, MemoryIsWhatOtherDisksAndTheSystemLeave) {
  machine->memory = 4ULL << 30U;
  const auto created = diskOver("work", QVRamDiskBackupMode_None);
  const auto planned = diskOver("plan", QVRamDiskBackupMode_None);
  ASSERT_EQ(perform(QVRamDiskActionCreate, created), nullptr);
  const std::vector<QVRamDiskPtr> all = {created, planned};
  DiskState state(all);
  const auto facts = memoryFactsFor(*planned, all, state);
  EXPECT_EQ(facts.reserve, 256'000'000U);
  EXPECT_EQ(facts.others, created->volSize());
  EXPECT_EQ(facts.available(), (4ULL << 30U) - 256'000'000U - created->volSize());
  EXPECT_EQ(memoryFactsFor(*created, all, state).others, 0U) << "its own is its to have";
  EXPECT_EQ((MemoryFacts{.physical = 10, .reserve = 8, .others = 3}.available()), 0U);
}

}  // namespace
