// Trees beyond what stack, paths, descriptors and memory would bear if they were taken lightly.

#include <dirent.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "leaf/Descriptor.h"
#include "tests/support/FewDescriptors.h"
#include "tests/system/CopierTest.h"

namespace fs = std::filesystem;

namespace {

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

class CopierLimitsTest : public CopierTest {
 protected:
  // A disk of its own, so that a tree too deep for most programs goes away with it.
  CopierLimitsTest() { mount("none", scratch.path().c_str(), "tmpfs", 0, nullptr); }
  ~CopierLimitsTest() override { umount2(scratch.path().c_str(), MNT_DETACH); }

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

TEST_F(CopierLimitsTest, CopiesAFolderOfManyAndReportsNowAndThen) {
  constexpr unsigned kFiles = 100000;
  mkdir(from.c_str(), 0755);
  const Descriptor folder(open(from.c_str(), kFolder));
  for (unsigned i = 0; i < kFiles; ++i) touch(folder.get(), std::to_string(i).c_str());

  using Clock = std::chrono::steady_clock;
  std::vector<std::pair<Clock::time_point, CopyProgress>> reports;
  std::atomic<int> inside{0};
  CopyOptions options;
  options.threads = 4;
  options.progress = [&](const CopyProgress& progress) {
    EXPECT_EQ(++inside, 1);
    reports.emplace_back(Clock::now(), progress);
    --inside;
  };
  const auto outcome = copyItemAtPath(from, to, options);
  EXPECT_EQ(outcome.copied.entries, kFiles + 1);
  EXPECT_EQ(outcome.failedEntries, 0U);
  EXPECT_EQ(std::distance(fs::directory_iterator(to), {}), kFiles);

  ASSERT_GE(reports.size(), 2U);
  EXPECT_EQ(reports.back().second.entries, outcome.copied.entries);
  for (std::size_t i = 1; i < reports.size(); ++i) {
    EXPECT_GE(reports[i].second.entries, reports[i - 1].second.entries);
    if (i + 1 == reports.size()) break;  // the last comes when all is done
    EXPECT_GE(reports[i].first - reports[i - 1].first, std::chrono::milliseconds(50));
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

}  // namespace
