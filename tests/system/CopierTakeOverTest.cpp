// What a copy takes from an earlier one: only what did not change since, and never the same file
// under a second name where that could ever show.

#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "tests/system/EarlierCopyTest.h"

namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

class TakeOverTest : public EarlierCopyTest {
 protected:
  // Makes the change time later than `options.earlier->unchangedBefore` and nothing else.
  static void touch(const std::string& path) {
    struct stat facts {};
    stat(path.c_str(), &facts);
    chmod(path.c_str(), facts.st_mode & 07777);
  }

  // Changes an item and puts its times back.
  static void behindItsBack(const std::string& path, const std::function<void()>& change) {
    struct stat facts {};
    stat(path.c_str(), &facts);
    change();
    const timespec times[] = {facts.st_atim, facts.st_mtim};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
  }

  // As if it had been written through a mapping since: size, times and even the change time of the
  // original stay.
  void rewriteEarlier(const std::string& name) const {
    behindItsBack(earlier + "/" + name, [&] { scratch.file("earlier/" + name, "TEXT"); });
  }
};

TEST_F(TakeOverTest, TakesOnlyWhatDidNotChange) {
  const struct {
    const char* change;
    std::function<void(const std::string& path)> make;
    bool shared;
  } cases[] = {
      {"nothing", [](const auto&) {}, true},
      {"change time", [](const auto& path) { touch(path); }, true},
      {"size", [](const auto& path) { behindItsBack(path, [&] { truncate(path.c_str(), 7); }); },
       false},
      {"modification time", [](const auto& path) { aged(path); }, false},
      {"mode", [](const auto& path) { chmod(path.c_str(), 0600); }, false},
      {"owner", [](const auto& path) { lchown(path.c_str(), 1234, getgid()); }, false},
      {"group", [](const auto& path) { lchown(path.c_str(), getuid(), 5678); }, false},
      {"contents, size and times put back",
       [](const auto& path) {
         behindItsBack(path, [&] { std::ofstream(path, std::ios::in) << "Text"; });
       },
       false},
      {"last byte of a long file",
       [](const auto& path) {
         behindItsBack(path, [&] {
           std::fstream file(path);
           file.seekp(-1, std::ios::end);
           file << "!";
         });
       },
       false},
      {"attribute's value",
       [](const auto& path) { setxattr(path.c_str(), "user.own", "2", 1, XATTR_REPLACE); }, false},
      {"attribute more",
       [](const auto& path) { setxattr(path.c_str(), "user.more", "2", 1, XATTR_CREATE); }, false},
      {"attribute less", [](const auto& path) { removexattr(path.c_str(), "user.own"); }, false},
      {"access list",
       [](const auto& path) {
         const auto list = accessListFor(7);
         setxattr(path.c_str(), "system.posix_acl_access", list.data(), list.size(), 0);
       },
       false},
      {"replaced by a folder",
       [](const auto& path) { fs::remove(path), fs::create_directory(path); }, false},
      {"replaced by a link to its earlier copy",
       [](const auto& path) {
         fs::remove(path), fs::create_symlink("../../earlier/folder/item", path);
       },
       false},
  };
  for (const auto& each : cases) {
    file("folder/item", "text" + std::string(300'000, 'x') + ".");
    setxattr(inFrom("folder/item").c_str(), "user.own", "1", 1, 0);
    file("folder/other");
    makeEarlier();
    each.make(inFrom("folder/item"));
    const auto outcome = copyAgain();
    EXPECT_TRUE(outcome.complete()) << each.change;
    EXPECT_EQ(differences(), Lines{}) << each.change;
    EXPECT_EQ(isShared("folder/item"), each.shared) << each.change;
    EXPECT_TRUE(isShared("folder/other")) << each.change;
    EXPECT_EQ(outcome.sharedInodes, each.shared ? 2U : 1U) << each.change;
    EXPECT_EQ(outcome.takenOver, outcome.sharedInodes) << each.change;
    clear();
  }
  EXPECT_EQ(log->entries(), Lines{});
}

TEST_F(TakeOverTest, ComparesWhatIsDoubted) {
  file("same");
  file("written");
  makeEarlier();
  rewriteEarlier("written");
  copyAgain();
  EXPECT_EQ(copied("written"), "TEXT");  // nothing speaks against it
  fs::remove_all(to);

  // Strictly before: a change within the clock's same tick may have come after.
  const auto since = *options.earlier->unchangedBefore;
  options.earlier->unchangedBefore = *changeTime(inFrom("written"));
  copyAgain();
  EXPECT_EQ(copied("written"), "text");
  fs::remove_all(to);

  options.earlier->unchangedBefore = since;
  options.earlier->doubted = {inodeOf(inFrom("same")), inodeOf(inFrom("written"))};
  std::sort(options.earlier->doubted.begin(), options.earlier->doubted.end());
  EXPECT_EQ(copyAgain().sharedInodes, 1U);
  EXPECT_EQ(copied("written"), "text");
  EXPECT_TRUE(isShared("same"));
}

TEST_F(TakeOverTest, CopiesAllWhereNothingTellsWhatChanged) {
  file("a/b");
  makeEarlier();
  options.earlier->unchangedBefore.reset();
  EXPECT_EQ(copyAgain().takenOver, 0U);
  EXPECT_FALSE(isShared("a/b"));
  fs::remove_all(to);
  options.earlier->unchangedBefore = timespec{1, 0};  // later than no change: contents decide
  EXPECT_EQ(copyAgain().sharedInodes, 1U);
  fs::remove_all(to);
  options.earlier->folder = scratch.path("nowhere");
  EXPECT_EQ(copyAgain().takenOver, 0U);
  EXPECT_EQ(differences(), Lines{});
}

// Two files that are apart now must not become one because they once were.
TEST_F(TakeOverTest, NeverMakesTwoFilesOne) {
  file("was linked/1");
  fs::create_hard_link(inFrom("was linked/1"), inFrom("was linked/2"));
  file("is linked/1");
  file("is linked/2");
  file("group/1");
  fs::create_hard_link(inFrom("group/1"), inFrom("group/2"));
  file("single");
  makeEarlier();
  for (const std::string path : {"was linked/2", "is linked/2"}) fs::remove(inFrom(path));
  fs::copy_file(inFrom("was linked/1"), inFrom("was linked/2"));
  fs::create_hard_link(inFrom("is linked/1"), inFrom("is linked/2"));
  const auto outcome = copyAgain();
  EXPECT_EQ(differences(), Lines{});
  EXPECT_EQ(outcome.sharedInodes, 1U);
  EXPECT_TRUE(isShared("single"));
  for (const auto& path : {"was linked/1", "was linked/2", "is linked/1", "group/1", "group/2"})
    EXPECT_FALSE(isShared(path)) << path;
}

TEST_F(TakeOverTest, CopiesWhatCannotGetASecondNameAndFollowsNoLink) {
  file("folder/item");
  makeEarlier();
  const auto disk = scratch.directory("disk");
  ASSERT_EQ(mount("none", disk.c_str(), "tmpfs", 0, nullptr), 0);
  const auto outcome = copyItems({"folder"}, from, disk, options);
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.takenOver, 0U);
  EXPECT_EQ(::differences(factsOf(inFrom("folder")), factsOf(disk + "/folder")), Lines{});
  umount(disk.c_str());

  fs::rename(earlier + "/folder", scratch.path("outside"));
  fs::create_directory_symlink(scratch.path("outside"), earlier + "/folder");
  EXPECT_EQ(copyAgain().takenOver, 0U);
  EXPECT_EQ(differences(), Lines{});
}

// On a file system whose files can share blocks, made in an image, where this machine can.
class ReflinkTest : public TakeOverTest, public testing::WithParamInterface<const char*> {
 protected:
  ReflinkTest() {
    const auto image = scratch.path("image");
    std::ofstream(image).close();
    truncate(image.c_str(), 512 << 20);
    const auto quietly = [](const std::string& line) {
      return std::system((line + " >/dev/null 2>&1").c_str()) == 0;
    };
    const auto disk = scratch.directory("disk");
    mounted = quietly(std::string("mkfs.") + GetParam() + " -q " + image) &&
              quietly("mount -o loop " + image + " " + disk);
    earlier = disk + "/earlier";
    to = disk + "/to";
  }
  ~ReflinkTest() override {
    if (mounted) umount2(scratch.path("disk").c_str(), MNT_DETACH);
  }
  bool mounted;
};

TEST_P(ReflinkTest, SharesBlocksButNoFile) {
  if (!mounted) GTEST_SKIP() << "no file system that shares blocks can be made here";
  file("folder/large", std::string(5 << 20, 'x'));
  setxattr(inFrom("folder/large").c_str(), "user.own", "1", 1, 0);
  file("folder/empty", "");
  file("group/1", std::string(100'000, 'g'));
  fs::create_hard_link(inFrom("group/1"), inFrom("group/2"));
  makeEarlier();
  const auto outcome = copyAgain();
  EXPECT_EQ(outcome.takenOver, 3U);
  EXPECT_EQ(outcome.sharedInodes, 0U);
  EXPECT_EQ(outcome.copied.bytes, 0U);
  EXPECT_EQ(differences(), Lines{});
  EXPECT_FALSE(isShared("folder/large"));
}

INSTANTIATE_TEST_SUITE_P(FileSystems, ReflinkTest, testing::Values("xfs", "btrfs"));

}  // namespace
