#include "leaf/Descriptor.h"
#include "system/QVDirectoryStatistics.h"
#include "tests/support/FewDescriptors.h"
#include "tests/support/Privileges.h"
#include "tests/system/SystemTest.h"

namespace {

class DirectoryStatisticsTest : public SystemTest {
 protected:
  // Folders within folders, each with a file, and every tenth with another folder beside the next,
  // so that a walk comes back to it. Made by descriptors, as no path is long enough.
  void makeDeep(int levels) const {
    const std::string name(120, 'd');
    Descriptor at(open(scratch.directory("deep").c_str(), O_RDONLY | O_DIRECTORY));
    for (int level = 0; level < levels; ++level) {
      Descriptor file(openat(at.get(), "file", O_WRONLY | O_CREAT, 0600));
      ASSERT_EQ(write(file.get(), "12345", 5), 5);
      if (level % 10 == 0) mkdirat(at.get(), "beside", 0700);
      ASSERT_EQ(mkdirat(at.get(), name.c_str(), 0700), 0);
      at = Descriptor(openat(at.get(), name.c_str(), O_RDONLY | O_DIRECTORY));
    }
  }
};

TEST_F(DirectoryStatisticsTest, CountsEachSortOfEntry) {
  scratch.file("root/a", "12345");
  scratch.file("root/.hidden/b", "678");
  scratch.file("root/.hidden/.DS_Store");
  fs::resize_file(scratch.file("root/x/y/sparse"), 5ULL << 30U);
  scratch.directory("root/empty/empty");
  scratch.file("outside/large", std::string(100000, 'l'));
  fs::create_symlink(scratch.path("outside"), scratch.path("root/link"));
  fs::create_symlink("nowhere", scratch.path("root/x/dangling"));
  ASSERT_EQ(mkfifo(scratch.path("root/fifo").c_str(), 0600), 0);

  QVDirectoryStatistics counted{1, 10, 100, 1000};
  EXPECT_EQ(GetDirectoryStatistics(scratch.path("root").c_str(), &counted), 0);
  EXPECT_EQ(counted, (QVDirectoryStatistics{1 + 8 + (5ULL << 30U), 10 + 4, 100 + 5, 1000 + 2}));
  QVDirectoryStatistics throughLink;
  EXPECT_TRUE(QVGetDirectoryStatistics(&throughLink, 0, scratch.path("root/link")));
  EXPECT_EQ(throughLink, (QVDirectoryStatistics{100000, 1, 0, 0}));
  EXPECT_TRUE(log->entries().empty());
}

TEST_F(DirectoryStatisticsTest, FindsTheFirstFileAnywhere) {
  scratch.directory("none/a/b");
  fs::create_symlink("/etc", scratch.path("none/a/link"));
  ASSERT_EQ(mkfifo(scratch.path("none/fifo").c_str(), 0600), 0);
  EXPECT_EQ(DirectoryContainsAtLeastFile(scratch.path("none").c_str()), 0);
  scratch.file("none/a/b/.file");
  EXPECT_EQ(DirectoryContainsAtLeastFile(scratch.path("none/").c_str()), 1);
  EXPECT_TRUE(log->entries().empty());
}

TEST_F(DirectoryStatisticsTest, SaysWhyARootCannotBeWalked) {
  const auto missing = scratch.path("missing");
  const auto file = scratch.file("file");
  const struct {
    const char* path;
    std::int32_t result;
    std::string message;
  } cases[] = {{nullptr, -1, "dirPathL==0 dirPath:(null)"},
               {"", -1, "dirPathL==0 dirPath:"},
               {missing.c_str(), -2,
                "dir==NULL dirPath:" + missing + " errno:2 (No such file or directory)"},
               {file.c_str(), -2, "dir==NULL dirPath:" + file + " errno:20 (Not a directory)"}};
  for (const auto& c : cases) {
    QVDirectoryStatistics counted;
    log->clear();
    EXPECT_EQ(GetDirectoryStatistics(c.path, &counted), c.result);
    EXPECT_EQ(DirectoryContainsAtLeastFile(c.path), c.result);
    EXPECT_EQ(counted, QVDirectoryStatistics{});
    ASSERT_EQ(log->count(c.message), 2U) << c.message;
    EXPECT_TRUE(log->entries()[0].starts_with("ERROR GetDirectoryStatistics:"));
    EXPECT_TRUE(log->entries()[1].starts_with("ERROR DirectoryContainsAtLeastFile:"));
  }
}

TEST_F(DirectoryStatisticsTest, RefusesWholeSystems) {
  scratch.file("Volumes/disk/file");
  QVDirectoryStatistics counted;
  EXPECT_FALSE(QVGetDirectoryStatistics(&counted, 0, std::nullopt));
  EXPECT_FALSE(QVGetDirectoryStatistics(&counted, 0, "/"));
  EXPECT_FALSE(QVGetDirectoryStatistics(&counted, 0, scratch.path("Volumes")));
  EXPECT_TRUE(log->entries().empty());
  EXPECT_FALSE(QVGetDirectoryStatistics(&counted, 0, scratch.path("missing")));
  EXPECT_EQ(counted, QVDirectoryStatistics{});
  EXPECT_TRUE(QVGetDirectoryStatistics(&counted, 0, scratch.path("Volumes/disk")));
}

TEST_F(DirectoryStatisticsTest, GoesToAnyDepthWithFewDescriptors) {
  makeDeep(400);
  QVDirectoryStatistics counted;
  const FewDescriptors few;
  EXPECT_EQ(GetDirectoryStatistics(scratch.path("deep").c_str(), &counted), 0);
  EXPECT_EQ(counted, (QVDirectoryStatistics{400 * 5, 400, 400 + 40, 0}));
  EXPECT_EQ(DirectoryContainsAtLeastFile(scratch.path("deep").c_str()), 1);
  EXPECT_TRUE(log->entries().empty());
}

TEST_F(DirectoryStatisticsTest, PassesOverWhatItMayNotRead) {
  scratch.file("root/closed/a", "123");
  scratch.file("root/unsearchable/b", "123");
  fs::permissions(scratch.path("root/closed"), fs::perms::none);
  fs::permissions(scratch.path("root/unsearchable"), fs::perms(0444));
  QVDirectoryStatistics counted;
  std::int32_t hasFile = 0;
  withoutPrivileges([&] {
    EXPECT_EQ(GetDirectoryStatistics(scratch.path("root").c_str(), &counted), 0);
    hasFile = DirectoryContainsAtLeastFile(scratch.path("root").c_str());
  });
  EXPECT_EQ(counted, (QVDirectoryStatistics{0, 1, 2, 0}));
  const auto closed = scratch.path("root/closed");
  EXPECT_EQ(log->count("dir==NULL dirPath:" + closed + " errno:13 (Permission denied)"), 1U);
  EXPECT_EQ(log->count(" GetDirectoryStatistics:-2 entryPath:" + closed), 1U);
  EXPECT_EQ(log->count("stat==-1 entryPath:" + scratch.path("root/unsearchable/b") + " errno:13"),
            1U);
  EXPECT_EQ(hasFile, 1);
}

}  // namespace
