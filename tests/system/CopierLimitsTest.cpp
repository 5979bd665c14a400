// Trees beyond what stack, paths, descriptors and memory would bear if they were taken lightly, and
// the order of the work of many threads.

#include "leaf/Descriptor.h"
#include "system/TreeRemover.h"
#include "tests/support/FewDescriptors.h"
#include "tests/system/CopierTest.h"

namespace {

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

class CopierLimitsTest : public EarlierCopyTest {
 protected:
  // A disk of its own, so that a tree too deep for most programs goes away with it.
  CopierLimitsTest() { mount("none", scratch.path().c_str(), "tmpfs", 0, nullptr); }

  static void touch(int directory, const char* name) {
    Descriptor(openat(directory, name, O_WRONLY | O_CREAT | O_CLOEXEC, 0640));
  }

  static timespec timeOf(int directory, const char* name) {
    struct stat facts {};
    fstatat(directory, name, &facts, AT_SYMLINK_NOFOLLOW);
    return facts.st_mtim;
  }
};

TEST_F(CopierLimitsTest, CopiesAsDeepAsTheDiskGoes) {
  constexpr int kLevels = 3000;
  const std::string name = "a level of the tree";
  mkdir(from.c_str(), 0755);
  Descriptor top(open(from.c_str(), kFolder));
  touch(top.get(), "first");
  Descriptor at(dup(top.get()));
  for (int level = 0; level < kLevels; ++level) {
    for (const auto* made : {"before", name.c_str(), "side"}) mkdirat(at.get(), made, 0711);
    Descriptor side(openat(at.get(), "side", kFolder));
    linkat(top.get(), "first", side.get(), "link", 0);
    at = Descriptor(openat(at.get(), name.c_str(), kFolder));
  }
  const FewDescriptors few;
  for (const unsigned threads : {1U, 4U}) {
    const auto copied = to + std::to_string(threads);
    const auto outcome = copyItemAtPath(from, copied, {.progress = {}, .threads = threads});
    EXPECT_TRUE(outcome.complete());
    EXPECT_EQ(outcome.copied.entries, 2U + 4U * kLevels);
    Descriptor original(open(from.c_str(), kFolder));
    Descriptor copy(open(copied.c_str(), kFolder));
    struct stat first {};
    fstatat(copy.get(), "first", &first, 0);
    EXPECT_EQ(first.st_nlink, kLevels + 1U);
    int level = 0;
    for (; level < kLevels && copy; ++level) {
      for (const auto* each : {"before", name.c_str(), "side"}) {
        const auto a = timeOf(original.get(), each);
        const auto b = timeOf(copy.get(), each);
        ASSERT_TRUE(a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec) << each << level;
      }
      original = Descriptor(openat(original.get(), name.c_str(), kFolder));
      copy = Descriptor(openat(copy.get(), name.c_str(), kFolder));
    }
    EXPECT_TRUE(copy) << "ends at level " << level;
  }
}

TEST_F(CopierLimitsTest, KeepsLinksThatManyThreadsMeetAtOnce) {
  constexpr int kFolders = 2500;
  constexpr int kLinked = 6;
  mkdir(from.c_str(), 0755);
  const Descriptor top(open(from.c_str(), kFolder));
  for (int i = 0; i < kFolders; ++i) {
    const auto name = "one of the folders that lie here " + std::to_string(i);
    mkdirat(top.get(), name.c_str(), 0755);
    const Descriptor folder(openat(top.get(), name.c_str(), kFolder));
    touch(folder.get(), "single");
    const auto group = std::to_string(i % (kFolders / kLinked));
    touch(top.get(), group.c_str());
    linkat(top.get(), group.c_str(), folder.get(), "linked", 0);
  }
  const FewDescriptors few;
  const auto outcome = copy(8);
  EXPECT_TRUE(outcome.complete());
  EXPECT_TRUE(log->entries().empty());
  EXPECT_EQ(differences(), std::vector<std::string>{});
}

// Deeper than a path can say.
TEST_F(CopierLimitsTest, TakesOverBelowTheLongestPath) {
  const std::string name(255, '\xfe');  // no UTF-8, and as long as names are
  constexpr int kLevels = 40;
  mkdir(from.c_str(), 0755);
  Descriptor at(open(from.c_str(), kFolder));
  std::string path;
  for (int level = 0; level < kLevels; ++level) {
    mkdirat(at.get(), name.c_str(), 0755);
    at = Descriptor(openat(at.get(), name.c_str(), kFolder));
    path += name + "/";
  }
  for (const auto* each : {"lacking", "kept"}) touch(at.get(), each);
  makeEarlier();
  unlinkat(at.get(), "lacking", 0);
  options.earlier->lacking = {path + "lacking"};
  const auto outcome = copyAgain();
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.sharedInodes, 2U);
  EXPECT_EQ(outcome.copied.entries, kLevels + 2U);
}

constexpr unsigned kThreads = 8;
constexpr unsigned kFilesInFirst = 50'000;
constexpr unsigned kFilesEach = 500;
constexpr unsigned kFolders = 101;
constexpr unsigned kFiles = kFilesInFirst + (kFolders - 1) * kFilesEach;
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
    const unsigned after = file < kFilesInFirst ? 0 : 1 + (file - kFilesInFirst) / kFilesEach;
    return "folder " + std::to_string(after);
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
    for (const auto& folder : names()) fs::remove_all(*fs::directory_iterator(inFrom(folder)));
  }
};

TEST_F(CopierManyTest, TakesLittleMemoryAndReportsNowAndThen) {
  {
    const PeakMemory peak;
    makeEarlier();
    expectLittle(peak, "copy_kib");
  }
  using Clock = std::chrono::steady_clock;
  std::vector<std::pair<Clock::time_point, CopyProgress>> reports;
  std::atomic<int> inside{0};
  options.progress = [&](const CopyProgress& progress) {
    EXPECT_EQ(++inside, 1);
    reports.emplace_back(Clock::now(), progress);
    --inside;
  };
  const PeakMemory peak;
  const auto outcome = copyAgain();
  expectLittle(peak, "take_over_kib");
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.sharedInodes, kFiles);
  ASSERT_GE(reports.size(), 2U);
  EXPECT_EQ(reports.back().second.entries, outcome.copied.entries);
  for (std::size_t i = 1; i < reports.size(); ++i) {
    EXPECT_GE(reports[i].second.entries, reports[i - 1].second.entries);
    if (i + 1 == reports.size()) break;  // the last comes when all is done
    EXPECT_GE(reports[i].first - reports[i - 1].first, std::chrono::milliseconds(50));
  }
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
