#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "ramdisk/Generation.h"
#include "ramdisk/QVRamDiskBackup.h"
#include "system/ExtendedAttributes.h"
#include "tests/support/EngineTest.h"

namespace {

namespace fs = std::filesystem;

ino_t inodeOf(const std::string& path) {
  struct stat facts {};
  return lstat(path.c_str(), &facts) == 0 ? facts.st_ino : 0;
}

// A volume, and a folder that it is saved into.
class SaveTest : public EngineTest {
 protected:
  SaveTest() : generation(home + "/saved") {
    scratch.directory("home/volume");
    EXPECT_EQ(mount("volume", volume.c_str(), "tmpfs", 0, nullptr), 0);
  }
  ~SaveTest() override {
    umount2(volume.c_str(), MNT_DETACH);
    for (const std::string& path : covered) umount2(path.c_str(), MNT_DETACH);
  }

  std::string write(const std::string& name, const std::string& contents) {
    return scratch.file("home/volume/" + name, contents);
  }
  std::string saved(const std::string& name) { return readFile(home + "/saved/" + name); }
  std::string previous(const std::string& name) {
    return readFile(home + "/saved.previous/" + name);
  }
  QVErrorPtr save() {
    return QVRamDiskBackup::sharedInstance().backupRamDiskAtPath(volume, home + "/saved",
                                                                 "previous");
  }
  QVErrorPtr restore(const std::string& to, QVRamDiskBackup::Lacking* lacking = nullptr) {
    return QVRamDiskBackup::sharedInstance().restoreRamDiskAtPath(to, home + "/saved", {}, lacking);
  }

  // Makes a file unreadable to everybody, root too: one of the kernel's that is only written to is
  // put over it. false where this cannot be done.
  bool makeUnreadable(const std::string& path) {
    for (const auto& bus : fs::directory_iterator("/sys/bus")) {
      const std::string probe = bus.path() / "drivers_probe";
      if (mount(probe.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) != 0) continue;
      covered.push_back(path);
      return access(path.c_str(), F_OK) == 0;
    }
    return false;
  }
  void makeReadable(const std::string& path) {
    umount2(path.c_str(), MNT_DETACH);
    std::erase(covered, path);
  }

  std::string volume = home + "/volume";
  Generation generation;
  std::vector<std::string> covered;
};

TEST_F(SaveTest, WhatDidNotChangeIsTakenOverAndAllElseIsSaved) {
  for (const char* name : {"same", "sub/same", "grown", "touched", "disguised", "gone", "mapped"})
    write(name, "first");
  const int file = open((volume + "/mapped").c_str(), O_RDWR | O_CLOEXEC);
  void* mapping = mmap(nullptr, 5, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ASSERT_NE(mapping, MAP_FAILED);
  static_cast<char*>(mapping)[0] = 'f';  // from here on writing to it leaves no trace
  ASSERT_EQ(save(), nullptr);
  const ino_t same = inodeOf(home + "/saved/sub/same");
  const ino_t touched = inodeOf(home + "/saved/touched");

  write("grown", "second one");
  chmod((volume + "/touched").c_str(), 0640);
  struct stat facts {};
  ASSERT_EQ(stat((volume + "/disguised").c_str(), &facts), 0);
  write("disguised", "other");
  const timespec times[] = {facts.st_atim, facts.st_mtim};
  ASSERT_EQ(utimensat(AT_FDCWD, (volume + "/disguised").c_str(), times, 0), 0);
  fs::remove(volume + "/gone");
  write("new", "new");
  static_cast<char*>(mapping)[0] = 'F';
  ASSERT_EQ(save(), nullptr);
  munmap(mapping, 5);
  close(file);

  EXPECT_EQ(inodeOf(home + "/saved/sub/same"), same);
  EXPECT_NE(inodeOf(home + "/saved/touched"), touched);
  EXPECT_EQ(saved("grown"), "second one");
  EXPECT_EQ(saved("disguised"), "other");
  EXPECT_EQ(saved("mapped"), "First");
  EXPECT_EQ(saved("new"), "new");
  EXPECT_FALSE(fs::exists(home + "/saved/gone"));
  EXPECT_FALSE(generation.isMarked());
  EXPECT_FALSE(generation.hasPrevious());
}

// A mapping that came and went since the last save is seen by nobody.
TEST_F(SaveTest, TheLastSaveComparesWhatTheTimesCallUnchanged) {
  write("database", std::string(4096, 'a'));
  ASSERT_EQ(save(), nullptr);
  const int file = open((volume + "/database").c_str(), O_RDWR | O_CLOEXEC);
  void* mapping = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  ASSERT_NE(mapping, MAP_FAILED);
  EXPECT_EQ(*static_cast<volatile char*>(mapping), 'a');
  *static_cast<volatile char*>(mapping) = 'b';
  munmap(mapping, 4096);
  close(file);
  EXPECT_EQ(QVRamDiskBackup::sharedInstance().backupRamDiskAtPath(
                volume, home + "/saved", "previous", {}, SaveCare::Compare),
            nullptr);
  EXPECT_EQ(saved("database")[0], 'b');
}

TEST_F(SaveTest, NothingIsSharedWithAGenerationOfAnotherSave) {
  write("file", "file");
  ASSERT_EQ(save(), nullptr);
  const ino_t first = inodeOf(home + "/saved/file");
  fs::copy(home + "/saved", home + "/other", fs::copy_options::recursive);
  fs::remove_all(home + "/saved");
  fs::rename(home + "/other", home + "/saved");
  write("saved copy is not ours", "");
  const int held = open((home + "/saved/file").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(save(), nullptr);
  struct stat facts {};
  ASSERT_EQ(fstat(held, &facts), 0);
  EXPECT_EQ(facts.st_nlink, 0U) << "the copy went with its generation";
  EXPECT_NE(inodeOf(home + "/saved/file"), first);
  close(held);
}

// Both generations stay, and the unreadable item is in both.
TEST_F(SaveTest, AnItemThatCannotBeReadIsKeptAsItWas) {
  write("same", "same");
  const std::string bad = write("deep/bad", "old");
  ASSERT_EQ(save(), nullptr);
  if (!makeUnreadable(bad)) GTEST_SKIP() << "nothing here can be made unreadable";
  log->clear();
  EXPECT_EQ(save(), nullptr);
  EXPECT_EQ(log->count("copyItemAtPath==NO filePath:" + volume + "/deep"), 1U);
  EXPECT_EQ(saved("deep/bad"), "old");
  EXPECT_EQ(previous("deep/bad"), "old");
  EXPECT_FALSE(generation.isMarked());
  makeReadable(bad);
  write("deep/bad", "new");
  EXPECT_EQ(save(), nullptr);
  EXPECT_EQ(saved("deep/bad"), "new");
  EXPECT_FALSE(generation.hasPrevious());
}

TEST_F(SaveTest, AGenerationThatWasNotFlushedIsNeverPreferred) {
  const std::pair<const char*, int> steps[] = {{"flush", 1}, {"remove", 1}, {"flushNames", 2}};
  for (const auto& [verb, nth] : steps) {
    SCOPED_TRACE(verb);
    write("file", "old");
    ASSERT_EQ(save(), nullptr);
    write("file", "new");
    faults->fail(verb, nth);
    EXPECT_EQ(reasonOf(save()), "flush");
    faults->clear();
    if (!generation.isMarked()) continue;  // the mark is gone, only that is not on the device yet
    EXPECT_EQ(generation.whole(), generation.previous());
    EXPECT_EQ(restore(scratch.directory("home/back")), nullptr);
    EXPECT_EQ(readFile(home + "/back/file"), "old");
    fs::remove_all(home + "/back");
  }
  // Of the two, the next save drops the one that is not whole.
  ASSERT_TRUE(generation.mark());
  faults->fail("flush");
  EXPECT_EQ(reasonOf(save()), "flush");
  faults->clear();
  EXPECT_TRUE(generation.hasPrevious());
  EXPECT_EQ(save(), nullptr);
  EXPECT_EQ(saved("file"), "new");
  EXPECT_FALSE(generation.hasPrevious());
  EXPECT_FALSE(generation.isMarked());
}

TEST_F(SaveTest, WhatCouldNotBeBroughtInIsNotTakenForDeleted) {
  const std::string bad = scratch.file("home/saved/deep/bad", "bad");
  scratch.file("home/saved/deep/good", "good");
  scratch.file("home/saved/deleted", "deleted");
  if (!makeUnreadable(bad)) GTEST_SKIP() << "nothing here can be made unreadable";
  QVRamDiskBackup::Lacking lacking;
  ASSERT_EQ(restore(volume, &lacking), nullptr);
  EXPECT_EQ(lacking.paths, std::vector<std::string>{"deep/bad"});
  makeReadable(bad);
  for (const bool listed : {true, false}) {
    SCOPED_TRACE(listed);
    ASSERT_TRUE(noteRefillEnded(volume, lacking.paths, !listed));
    if (listed) fs::remove(volume + "/deleted");
    for (int again = 0; again < 2; ++again) {
      ASSERT_EQ(save(), nullptr);
      EXPECT_EQ(saved("deep/bad"), "bad");
      EXPECT_EQ(saved("deep/good"), "good");
      EXPECT_FALSE(fs::exists(home + "/saved/deleted"));
    }
  }
  ASSERT_TRUE(noteRefillEnded(volume, {}, false));
  EXPECT_EQ(refillNote(volume).state, RefillNote::State::Whole);
  ASSERT_EQ(save(), nullptr);
  EXPECT_FALSE(fs::exists(home + "/saved/deep/bad"));
}

TEST_F(SaveTest, ALongListOfMissingEntriesBecomesAWord) {
  const std::vector<std::string> many(2000, std::string(200, 'x'));
  ASSERT_TRUE(noteRefillEnded(volume, many, false));
  EXPECT_EQ(refillNote(volume).state, RefillNote::State::LacksUnlisted);
  ASSERT_TRUE(noteRefillEnded(volume, {std::string(255, '\xFF'), "b"}, false));
  EXPECT_EQ(refillNote(volume).lacking, (std::vector<std::string>{std::string(255, '\xFF'), "b"}));
  ASSERT_TRUE(QVSetExtendedAttribute("nonsense", "com.tarnvale.RamDiskRefill", volume));
  EXPECT_TRUE(isRefillUnderWay(volume));
}

// A destination of 8 MB.
class TightSave : public SaveTest {
 protected:
  TightSave() {
    scratch.directory("home/tight");
    EXPECT_EQ(mount("tmpfs", (home + "/tight").c_str(), "tmpfs", 0, "size=8m"), 0);
    covered.push_back(home + "/tight");
  }
  QVErrorPtr save() {
    return QVRamDiskBackup::sharedInstance().backupRamDiskAtPath(volume, home + "/tight/saved",
                                                                 "previous");
  }
  Generation tight{home + "/tight/saved"};
};

TEST_F(TightSave, OnlyWhatMustBeCopiedNeedsRoom) {
  write("big", std::string(5'000'000, 'b'));
  ASSERT_EQ(save(), nullptr);
  write("small", "small");
  ASSERT_EQ(save(), nullptr);
  EXPECT_EQ(readFile(home + "/tight/saved/small"), "small");
  write("big", std::string(5'000'000, 'B'));
  EXPECT_EQ(reasonOf(save()), "volFree");
  EXPECT_EQ(readFile(home + "/tight/saved/big")[0], 'b');
}

// Whoever fills the destination during a save gets it an error, and the former generation its
// place.
TEST_F(TightSave, ADestinationThatFillsUpMeanwhileKeepsTheFormerGeneration) {
  write("file", "old");
  ASSERT_EQ(save(), nullptr);
  for (int i = 0; i < 40; ++i) write("new" + std::to_string(i), std::string(100'000, 'n'));
  scratch.file("home/tight/filler", std::string(5'000'000, 'f'));
  faults->fail("attributes");  // what is free is not known beforehand
  const auto error = save();
  EXPECT_EQ(reasonOf(error), "volFree");
  EXPECT_EQ(tight.whole(), home + "/tight/saved");
  EXPECT_FALSE(tight.hasPrevious());
  EXPECT_EQ(readFile(home + "/tight/saved/file"), "old");
  fs::remove(home + "/tight/filler");
  EXPECT_EQ(save(), nullptr);
  EXPECT_EQ(readFile(home + "/tight/saved/new19").size(), 100'000U);
}

}  // namespace
