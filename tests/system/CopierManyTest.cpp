// Trees of many files, walked by many threads: the memory this takes, and the order of their work.

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "leaf/Descriptor.h"
#include "system/TreeRemover.h"
#include "tests/system/EarlierCopyTest.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned kThreads = 8;
constexpr unsigned kFolders = 200;
constexpr unsigned kFilesEach = 500;
constexpr unsigned kFiles = kFolders * kFilesEach;
constexpr long kMost = 64L * 1024;     // KiB, of the whole program
constexpr long kMostMore = 8L * 1024;  // KiB, through one copy; some 80 bytes a file would pass it

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr bool kMemoryTells = false;  // most of it is the sanitizer's
#else
constexpr bool kMemoryTells = true;
#endif

// The most memory that the program had resident at a time, from when this was made on.
class PeakMemory {
 public:
  // A 5 makes the present memory the most so far; before, it is that of the program's whole life.
  PeakMemory() : reset_(bool(std::ofstream("/proc/self/clear_refs") << "5" << std::flush)) {}

  bool known() const { return reset_; }
  long more() const { return now() - before_; }

  // KiB. Files in memory do not count, as they are the file system's.
  static long now() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
      if (line.starts_with("VmHWM:")) return std::stol(line.substr(6));
    return -1;
  }

 private:
  const bool reset_;
  const long before_ = now();
};

class CopierManyTest : public EarlierCopyTest {
 protected:
  CopierManyTest() {
    options.threads = kThreads;
    for (unsigned i = 0; i < kFiles; ++i) {
      const auto above = folderOf(i);
      if (i % kFilesEach == 0) fs::create_directory(inFrom(above));
      const auto path = inFrom(above + "/a file among many others " + std::to_string(i));
      Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0640));
    }
  }

  static std::string folderOf(unsigned file) {
    return "folder " + std::to_string(file / kFilesEach);
  }

  static void expectLittle(const PeakMemory& peak, const std::string& name) {
    if (!kMemoryTells) return;
    EXPECT_TRUE(peak.known());
    EXPECT_GT(PeakMemory::now(), 0);
    EXPECT_LT(PeakMemory::now(), kMost) << name;
    EXPECT_LT(peak.more(), kMostMore) << name;
    RecordProperty(name, std::to_string(PeakMemory::now()));
    RecordProperty(name + "_more", std::to_string(peak.more()));
  }

  // One entry of each folder is gone, so that there is something to be asked for at its end.
  void removeFirstOfEach() const {
    for (unsigned i = 0; i < kFolders; ++i)
      fs::remove_all(*fs::directory_iterator(inFrom(folderOf(i * kFilesEach))));
  }
};

TEST_F(CopierManyTest, TakesLittleMemory) {
  {
    const PeakMemory peak;
    makeEarlier();
    expectLittle(peak, "copy_kib");
  }
  const PeakMemory peak;
  const auto outcome = copyAgain();
  expectLittle(peak, "take_over_kib");
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.sharedInodes, kFiles);
}

TEST_F(CopierManyTest, TakesOverWhatEachFolderLacksAndParts) {
  makeEarlier();
  const auto whole = factsOf(earlier);
  removeFirstOfEach();
  options.earlier->lacksUnlisted = true;
  const auto outcome = copyAgain();
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.takenOver, kFiles);
  EXPECT_EQ(factsOf(to).size(), whole.size());

  EXPECT_EQ(removeShared(earlier, to, kThreads), outcome.sharedInodes);
  EXPECT_TRUE(removeItems(names(), to, kThreads).complete());
  EXPECT_TRUE(fs::is_empty(to));
}

}  // namespace
