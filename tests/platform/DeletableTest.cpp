#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <tuple>

#include "leaf/Descriptor.h"
#include "platform/posix/PosixFiles.h"
#include "tests/support/Scratch.h"

using namespace platform;

namespace {

constexpr uid_t kNobody = 65534;

// The answer of another user, asked in a process of that user's.
bool isDeletableFor(uid_t user, const std::string& path) {
  const pid_t child = fork();
  if (child == 0) {
    if (setgid(user) != 0 || setuid(user) != 0) _exit(2);
    _exit(PosixFiles().isDeletable(path) ? 1 : 0);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_LT(WEXITSTATUS(status), 2);
  return WEXITSTATUS(status) == 1;
}

bool setFlags(const std::string& path, int flags) {
  const Descriptor item(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return item && ioctl(item.get(), FS_IOC_SETFLAGS, &flags) == 0;
}

TEST(Deletable, AsksTheFolderAndNotTheItem) {
  const Scratch scratch;
  const auto file = scratch.file("folder/file");
  std::filesystem::create_symlink("nowhere", scratch.path("folder/dangling"));
  const PosixFiles files;
  EXPECT_TRUE(files.isDeletable(file));
  EXPECT_TRUE(files.isDeletable(scratch.path("folder")));
  EXPECT_TRUE(files.isDeletable(scratch.path("folder/dangling")));
  EXPECT_FALSE(files.isDeletable(scratch.path("missing")));
  EXPECT_FALSE(files.isDeletable("/"));

  const auto volume = scratch.directory("volume");
  ASSERT_EQ(mount("none", volume.c_str(), "tmpfs", 0, nullptr), 0);
  scratch.file("volume/file");
  EXPECT_FALSE(files.isDeletable(volume));
  EXPECT_TRUE(files.isDeletable(volume + "/file"));
  ASSERT_EQ(mount(nullptr, volume.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_FALSE(files.isDeletable(volume + "/file"));
  ASSERT_EQ(umount(volume.c_str()), 0);
  ASSERT_EQ(mount(file.c_str(), file.c_str(), nullptr, MS_BIND, nullptr), 0);
  EXPECT_FALSE(files.isDeletable(file)) << "mounted on by a file of the same file system";
  ASSERT_EQ(umount(file.c_str()), 0);
}

TEST(Deletable, KeepsTheRulesOfSharedFolders) {
  const Scratch scratch;
  const auto file = scratch.file("folder/file");
  std::filesystem::permissions(scratch.path(), std::filesystem::perms(0755));
  if (chown(file.c_str(), kNobody, kNobody) != 0) GTEST_SKIP() << "needs a second user";
  const std::tuple<unsigned, uid_t, bool> cases[] = {
      {0777, kNobody, true},  {0777, 0, true},          // the folder decides, not the file
      {01777, kNobody, true}, {01777, 0, false},        // but for what is shared
      {0755, kNobody, false}, {0722, kNobody, false}};  // the last cannot be entered
  for (const auto& [mode, owner, isDeletable] : cases) {
    std::filesystem::permissions(scratch.path("folder"), std::filesystem::perms(mode));
    ASSERT_EQ(chown(file.c_str(), owner, owner), 0);
    EXPECT_EQ(isDeletableFor(kNobody, file), isDeletable) << std::oct << mode << " " << owner;
  }
}

TEST(Deletable, KnowsWhatIsFixed) {
  const Scratch scratch;
  const auto file = scratch.file("folder/file");
  if (!setFlags(file, FS_IMMUTABLE_FL)) GTEST_SKIP() << "the file system keeps no such flags";
  EXPECT_FALSE(PosixFiles().isDeletable(file));
  ASSERT_TRUE(setFlags(file, FS_APPEND_FL));
  EXPECT_FALSE(PosixFiles().isDeletable(file));
  ASSERT_TRUE(setFlags(file, 0));
  ASSERT_TRUE(setFlags(scratch.path("folder"), FS_APPEND_FL));
  EXPECT_FALSE(PosixFiles().isDeletable(file));
  ASSERT_TRUE(setFlags(scratch.path("folder"), 0));
}

}  // namespace
