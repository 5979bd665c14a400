#include "platform/posix/PosixFiles.h"

#include <linux/fs.h>
#include <sys/ioctl.h>

#include "platform/posix/TreeRemoval.h"
#include "tests/support/OtherProgram.h"
#include "tests/support/TreeRemovalCases.h"

namespace removal {
namespace {

using platform::FileKind;

INSTANTIATE_TEST_SUITE_P(Posix, TreeRemovalCases, testing::Values(platform::removeTree));

struct stat factsOf(const std::string& path) {
  struct stat facts {};
  EXPECT_EQ(lstat(path.c_str(), &facts), 0) << path;
  return facts;
}

std::size_t itemsIn(const std::string& folder) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

constexpr uid_t kNobody = 65534;

// The answer of another user, asked in a process of that user's.
bool isDeletableFor(uid_t user, const std::string& path) {
  OtherProgram asked([&](const OtherProgram&) {
    return setgid(user) == 0 && setuid(user) == 0 && platform::PosixFiles().isDeletable(path);
  });
  return asked.ended();
}

bool setFlags(const std::string& path, int flags) {
  const Descriptor item(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return item && ioctl(item.get(), FS_IOC_SETFLAGS, &flags) == 0;
}

class PosixFilesTest : public testing::Test {
 protected:
  Scratch scratch;
  platform::PosixFiles files;
};

TEST_F(PosixFilesTest, SeesKindsThroughLinks) {
  fs::create_symlink(scratch.directory("directory"), scratch.path("link"));
  fs::create_symlink("nowhere", scratch.path("dangling"));
  EXPECT_EQ(files.kind(scratch.path("link")), FileKind::Directory);
  EXPECT_EQ(files.kind(scratch.file("file")), FileKind::Other);
  EXPECT_EQ(files.kind(scratch.path("dangling")), FileKind::Missing);
}

TEST_F(PosixFilesTest, NamesThePathInItsErrors) {
  const std::string path = scratch.path("missing");
  const platform::SystemError expected{"POSIX", ENOENT, path + ": No such file or directory"};
  EXPECT_EQ(files.names(path).error(), expected);
  EXPECT_EQ(files.times(path).error(), expected);
  EXPECT_EQ(files.contents(path).error(), expected);
  EXPECT_EQ(files.remove(path).error(), expected);
  EXPECT_EQ(files.contents(scratch.path()).error().code, EISDIR);
}

TEST_F(PosixFilesTest, MakesDirectoriesDownToTheLast) {
  EXPECT_EQ(codeOf(files.createDirectories(scratch.path("a/b//c/"))), 0);
  EXPECT_EQ(files.kind(scratch.path("a/b/c")), FileKind::Directory);
  EXPECT_EQ(codeOf(files.createDirectories(scratch.path("a/b"))), 0);
  EXPECT_EQ(codeOf(files.createDirectories("/proc/self")), 0);
  EXPECT_EQ(codeOf(files.createDirectories("")), ENOENT);
  scratch.file("file");
  EXPECT_EQ(codeOf(files.createDirectories(scratch.path("file"))), ENOTDIR);
  const auto below = files.createDirectories(scratch.path("file/x/y"));
  ASSERT_FALSE(below);
  EXPECT_EQ(below.error().text, scratch.path("file") + ": Not a directory");
}

// Both ways of moving keep one promise.
class PosixMove
    : public testing::TestWithParam<platform::Outcome (*)(const std::string&, const std::string&)> {
 protected:
  Scratch scratch;
};

TEST_P(PosixMove, NeverReplaces) {
  scratch.file("from/directory/file", "mine");
  scratch.file("from/file", "mine");
  for (const std::string source : {"from/directory", "from/file"}) {
    const std::string file = scratch.file("to/file", "theirs");
    const std::string empty = scratch.directory("to/empty");
    fs::remove(scratch.path("to/dangling"));
    fs::create_symlink("nowhere", scratch.path("to/dangling"));
    for (const std::string target : {"to/file", "to/empty", "to/dangling"}) {
      const auto moved = GetParam()(scratch.path(source), scratch.path(target));
      ASSERT_FALSE(moved) << source << target;
      EXPECT_EQ(moved.error().text, scratch.path(target) + ": File exists");
      EXPECT_TRUE(fs::exists(scratch.path(source))) << target;
    }
    EXPECT_EQ(readFile(file), "theirs");
    EXPECT_TRUE(fs::is_empty(empty));
    EXPECT_EQ(fs::read_symlink(scratch.path("to/dangling")), "nowhere");
  }
}

TEST_P(PosixMove, MovesFilesDirectoriesAndLinks) {
  scratch.file("file", "text");
  scratch.file("directory/sub/file", "text");
  fs::create_symlink("nowhere", scratch.path("link"));
  const auto inode = factsOf(scratch.path("directory/sub/file")).st_ino;
  for (const std::string name : {"file", "directory", "link"}) {
    EXPECT_EQ(codeOf(GetParam()(scratch.path(name), scratch.path("moved-" + name))), 0) << name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(scratch.path(name)))) << name;
  }
  EXPECT_EQ(readFile(scratch.path("moved-file")), "text");
  EXPECT_EQ(factsOf(scratch.path("moved-directory/sub/file")).st_ino, inode);
  EXPECT_EQ(fs::read_symlink(scratch.path("moved-link")), "nowhere");
}

TEST_P(PosixMove, LeavesEverythingWhereItFails) {
  const std::string volume = scratch.directory("volume");
  ASSERT_EQ(mount("tmpfs", volume.c_str(), "tmpfs", 0, nullptr), 0);
  scratch.file("directory/file");
  scratch.file("file");
  for (const std::string name : {"directory", "file"})
    EXPECT_EQ(codeOf(GetParam()(scratch.path(name), scratch.path("volume/" + name))), EXDEV);
  EXPECT_TRUE(fs::is_empty(volume));
  EXPECT_TRUE(fs::exists(scratch.path("directory/file")));
  EXPECT_EQ(codeOf(GetParam()(scratch.path("missing"), scratch.path("x"))), ENOENT);
  EXPECT_EQ(codeOf(GetParam()(scratch.path("directory"), scratch.path("directory/in"))), EINVAL);
  EXPECT_TRUE(fs::exists(scratch.path("directory/file")));
  EXPECT_FALSE(fs::exists(scratch.path("directory/in")));
}

INSTANTIATE_TEST_SUITE_P(
    BothWays, PosixMove,
    testing::Values([](const std::string& from,
                       const std::string& to) { return platform::PosixFiles().move(from, to); },
                    &platform::moveInSteps));

TEST_F(PosixFilesTest, ReplacesContentsAndKeepsModeAndOwner) {
  const std::string fresh = scratch.path("fresh");
  EXPECT_EQ(codeOf(files.replaceContents(fresh, "one")), 0);
  EXPECT_EQ(factsOf(fresh).st_mode & 07777, 0600U);
  ASSERT_EQ(chmod(fresh.c_str(), 0640), 0);
  const bool given = chown(fresh.c_str(), 1234, 4321) == 0;  // not in a user namespace
  const auto before = factsOf(fresh);
  const std::string bytes("two\0\n\xFF", 6);
  EXPECT_EQ(codeOf(files.replaceContents(fresh, bytes)), 0);
  const auto after = factsOf(fresh);
  EXPECT_EQ(*files.contents(fresh), bytes);
  EXPECT_EQ(after.st_mode & 07777, 0640U);
  EXPECT_EQ(std::pair(after.st_uid, after.st_gid), std::pair(before.st_uid, before.st_gid))
      << given;
  EXPECT_NE(after.st_ino, before.st_ino);
  EXPECT_EQ(itemsIn(scratch.path()), 1U);
}

TEST_F(PosixFilesTest, ReplacesWhatALinkLeadsTo) {
  scratch.file("real/file", "old");
  fs::create_symlink("../real/file", scratch.directory("links") + "/one");
  fs::create_symlink("one", scratch.path("links/two"));
  fs::create_symlink("../real/new", scratch.path("links/dangling"));
  EXPECT_EQ(codeOf(files.replaceContents(scratch.path("links/two"), "new")), 0);
  EXPECT_EQ(codeOf(files.replaceContents(scratch.path("links/dangling"), "made")), 0);
  EXPECT_EQ(readFile(scratch.path("real/file")), "new");
  EXPECT_EQ(readFile(scratch.path("real/new")), "made");
  EXPECT_TRUE(fs::is_symlink(scratch.path("links/two")));
  fs::create_symlink("loop", scratch.path("loop"));
  EXPECT_EQ(codeOf(files.replaceContents(scratch.path("loop"), "")), ELOOP);
}

TEST_F(PosixFilesTest, KeepsTheFormerContentsWhenReplacingFails) {
  const std::string volume = scratch.directory("volume");
  ASSERT_EQ(mount("tmpfs", volume.c_str(), "tmpfs", 0, "size=64k"), 0);
  const std::string path = scratch.file("volume/file", "former");
  EXPECT_EQ(codeOf(files.replaceContents(path, std::string(1U << 20U, 'x'))), ENOSPC);
  EXPECT_EQ(readFile(path), "former");
  EXPECT_EQ(itemsIn(volume), 1U);
  EXPECT_EQ(codeOf(files.replaceContents(scratch.directory("volume/folder"), "x")), EISDIR);
  EXPECT_EQ(codeOf(files.replaceContents(scratch.path("volume/none/file"), "x")), ENOENT);
  EXPECT_EQ(itemsIn(volume), 2U);
}

TEST_F(PosixFilesTest, AreDeletableByTheirFolderAndNotByThemselves) {
  const auto file = scratch.file("folder/file");
  fs::create_symlink("nowhere", scratch.path("folder/dangling"));
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
}

TEST_F(PosixFilesTest, AreDeletableByTheRulesOfSharedFolders) {
  const auto file = scratch.file("folder/file");
  fs::permissions(scratch.path(), fs::perms(0755));
  if (chown(file.c_str(), kNobody, kNobody) != 0) GTEST_SKIP() << "needs a second user";
  const std::tuple<unsigned, uid_t, bool> cases[] = {
      {0777, kNobody, true},  {0777, 0, true},          // the folder decides, not the file
      {01777, kNobody, true}, {01777, 0, false},        // but for what is shared
      {0755, kNobody, false}, {0722, kNobody, false}};  // the last cannot be entered
  for (const auto& [mode, owner, isDeletable] : cases) {
    fs::permissions(scratch.path("folder"), fs::perms(mode));
    ASSERT_EQ(chown(file.c_str(), owner, owner), 0);
    EXPECT_EQ(isDeletableFor(kNobody, file), isDeletable) << std::oct << mode << " " << owner;
  }
}

TEST_F(PosixFilesTest, AreNotDeletableWhereFixed) {
  const auto file = scratch.file("folder/file");
  if (!setFlags(file, FS_IMMUTABLE_FL)) GTEST_SKIP() << "the file system keeps no such flags";
  EXPECT_FALSE(files.isDeletable(file));
  ASSERT_TRUE(setFlags(file, FS_APPEND_FL));
  EXPECT_FALSE(files.isDeletable(file));
  ASSERT_TRUE(setFlags(file, 0));
  ASSERT_TRUE(setFlags(scratch.path("folder"), FS_APPEND_FL));
  EXPECT_FALSE(files.isDeletable(file));
  ASSERT_TRUE(setFlags(scratch.path("folder"), 0));
}

}  // namespace
}  // namespace removal
