// What a copy takes from an earlier one: only what did not change since, and never the same file
// under a second name where that could ever show. It stands in for entries that cannot be read, and
// for those that never came in.

#include "tests/support/Privileges.h"
#include "tests/system/CopierTest.h"

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

  // Strictly before: a change within the clock's same tick may have come after.
  const auto since = *options.earlier->unchangedBefore;
  options.earlier->unchangedBefore = *changeTime(inFrom("written"));
  copyAgain();
  EXPECT_EQ(copied("written"), "text");

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
  options.earlier->unchangedBefore = timespec{1, 0};  // later than no change: contents decide
  EXPECT_EQ(copyAgain().sharedInodes, 1U);
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

  fs::rename(earlier + "/folder", scratch.path("outside"));
  fs::create_directory_symlink(scratch.path("outside"), earlier + "/folder");
  EXPECT_EQ(copyAgain().takenOver, 0U);
  EXPECT_EQ(differences(), Lines{});
}

TEST_F(TakeOverTest, CopiesWhatCannotBeReadFromTheEarlierCopy) {
  for (const bool tells : {true, false}) {
    for (const auto* each :
         {"a/secret", "a/open", "closed/deep/er/file", "unknown folder/file", "top"})
      file(each, "old");
    fs::create_hard_link(inFrom("closed/deep/er/file"), inFrom("closed/link"));
    fs::create_symlink("nowhere", inFrom("closed/symbolic"));
    makeEarlier();
    if (!tells) options.earlier->unchangedBefore.reset();
    fs::remove_all(earlier + "/unknown folder");
    for (const auto* each : {"a/secret", "closed", "unknown folder", "top"})
      chmod(inFrom(each).c_str(), 0);
    chmod(file("a/new and closed").c_str(), 0);
    CopyOutcome outcome;
    withoutPrivileges([&] { outcome = copyAgain(); });
    for (const auto* each : {"a/secret", "top"}) chmod(inFrom(each).c_str(), 0644);
    for (const auto* each : {"closed", "unknown folder"}) chmod(inFrom(each).c_str(), 0755);

    EXPECT_EQ(outcome.failedEntries, 5U);
    EXPECT_EQ(outcome.failedPaths,
              (Lines{"a/new and closed", "a/secret", "closed", "top", "unknown folder"}));
    EXPECT_EQ(outcome.failedItems.size(), 4U);
    ASSERT_TRUE(outcome.failedItems.contains("closed"));
    EXPECT_EQ(outcome.failedItems.at("closed").code, EACCES);
    EXPECT_FALSE(outcome.destinationFull);
    EXPECT_EQ(outcome.takenOver, tells ? 5U : 4U);
    EXPECT_EQ(outcome.sharedInodes, tells ? 1U : 0U);
    for (const auto* each : {"a/secret", "closed/deep/er/file", "top"}) {
      EXPECT_EQ(copied(each), "old") << each;
      EXPECT_FALSE(isShared(each)) << each;
    }
    EXPECT_EQ(linksOf(to + "/closed/link"), 2U);
    EXPECT_TRUE(isCopied("closed/symbolic"));
    EXPECT_FALSE(isCopied("unknown folder"));
    EXPECT_FALSE(isCopied("a/new and closed"));
    clear();
  }
}

TEST_F(TakeOverTest, TakesOverWhatTheOriginalLacks) {
  for (const bool tells : {true, false}) {
    for (const auto* each :
         {"a/file", "a/b/c/file", "a/folder/x/y", "a/deleted", "gone/file", "top",
          "top folder/file", "partly/in", "partly/out", "hidden", "there/file"})
      file(each, "old");
    fs::create_hard_link(inFrom("a/folder/x/y"), inFrom("a/folder/link"));
    makeEarlier();
    if (!tells) options.earlier->unchangedBefore.reset();
    for (const auto* each : {"a/file", "a/b/c/file", "a/folder", "a/deleted", "gone", "top",
                             "top folder", "partly/out", "hidden"})
      fs::remove_all(inFrom(each));
    file("there/file", "new");
    options.earlier->lacking = {"a/b/c/file", "a/file",     "a/folder",    "gone/file", "partly",
                                "top",        "top folder", "none/at/all", "there/file"};
    auto outcome = copyAgain();
    EXPECT_TRUE(outcome.complete());
    for (const auto* each :
         {"a/b/c/file", "a/file", "a/folder/x/y", "top", "top folder/file", "partly/out"}) {
      EXPECT_EQ(copied(each), "old") << each;
      EXPECT_EQ(isShared(each),
                tells && linksOf(earlier + "/" + each) == 2 && std::string(each) != "a/folder/x/y")
          << each;
    }
    EXPECT_EQ(copied("there/file"), "new");
    EXPECT_EQ(linksOf(to + "/a/folder/link"), 2U);
    for (const auto* each : {"a/deleted", "gone", "hidden", "none"})
      EXPECT_FALSE(isCopied(each)) << each;
    EXPECT_EQ(outcome.takenOver, tells ? 8U : 7U);  // with partly/in

    options.earlier->lacking.clear();
    options.earlier->lacksUnlisted = true;
    options.earlier->leavesAlone = [](const std::string& name) { return name == "hidden"; };
    outcome = copyAgain();
    EXPECT_TRUE(outcome.complete());
    for (const auto* each : {"a/deleted", "a/b/c/file", "gone/file", "top", "partly/out"})
      EXPECT_EQ(copied(each), "old") << each;
    EXPECT_EQ(copied("there/file"), "new");
    EXPECT_FALSE(isCopied("hidden"));
    clear();
  }
}

TEST_F(TakeOverTest, CopiesItemsInOneRun) {
  file("a/1");
  fs::create_hard_link(inFrom("a/1"), inFrom("link"));
  fs::create_symlink("a", inFrom("symbolic"));
  mkfifo(aged(inFrom("pipe")).c_str(), 0600);
  file("not asked for");
  file("there", "new");
  scratch.file("to/there", "old");
  const auto list = accessListFor(7);
  setxattr(to.c_str(), "system.posix_acl_default", list.data(), list.size(), 0);
  chmod(to.c_str(), 02770);
  const auto before = factsOf(to);
  for (int i = 0; i < 30; ++i) file("many " + std::to_string(i));
  Lines asked = names();
  std::erase(asked, "not asked for");
  const std::size_t whole = asked.size() - 1;
  for (const auto* bad : {"none", "a/1", "..", "", "a"}) asked.emplace_back(bad);
  const auto outcome = copyItems(asked, from + "/", to);
  EXPECT_EQ(outcome.copied.entries, whole + 1);
  EXPECT_EQ(outcome.failedPaths, (Lines{"", "..", "a/1", "none", "there"}));
  EXPECT_EQ(outcome.failedItems.at("there").code, EEXIST);
  EXPECT_EQ(outcome.failedItems.at("none").code, ENOENT);
  auto made = factsOf(to);
  EXPECT_EQ(made.at("there"), before.at("there"));
  EXPECT_FALSE(made.contains("not asked for"));
  struct stat facts {};
  stat(to.c_str(), &facts);
  EXPECT_EQ(facts.st_mode & 07777, 02770U);
  auto original = factsOf(from);
  for (auto* each : {&made, &original})
    for (const auto* name : {".", "there", "not asked for"}) each->erase(name);
  EXPECT_EQ(::differences(original, made), Lines{});

  EXPECT_EQ(copyItems({"a", "b"}, from, scratch.path("nowhere")).failedItems.size(), 2U);
  EXPECT_EQ(copyItems({"a", "b"}, scratch.path("nowhere"), to).failedItems.size(), 2U);
}

TEST_F(TakeOverTest, NamesASingleItemsFailures) {
  file("folder/secret", "old");
  file("folder/other", "old");
  makeEarlier();
  chmod(inFrom("folder/secret").c_str(), 0);
  CopyOutcome outcome;
  withoutPrivileges([&] { outcome = copyItemAtPath(inFrom("folder"), to, options); });
  EXPECT_EQ(outcome.failedPaths, Lines{"folder/secret"});
  EXPECT_TRUE(outcome.failedItems.contains("folder"));
  EXPECT_EQ(copied("secret"), "old");
  EXPECT_EQ(outcome.sharedInodes, 1U);
}

TEST_F(TakeOverTest, ListsOnlySoManyFailures) {
  constexpr std::size_t kMany = CopyOutcome::kMostFailedPaths + 10;
  for (std::size_t i = 0; i < kMany; ++i) std::ofstream(scratch.path("from/") + std::to_string(i));
  fs::create_directory(to);
  const auto disk = scratch.directory("disk");
  ASSERT_EQ(mount("none", disk.c_str(), "tmpfs", 0, "nr_inodes=2"), 0);
  fs::create_directory(disk + "/x");
  const auto outcome = copyItems(names(), from, disk + "/x", options);
  EXPECT_EQ(outcome.failedEntries, kMany);
  EXPECT_EQ(outcome.failedPaths.size(), CopyOutcome::kMostFailedPaths);
  EXPECT_TRUE(outcome.failedPathsCut);
}

TEST_F(TakeOverTest, CountsWhatWouldBeCopied) {
  file("a/one", "x");
  file("a/two", std::string(4097, 'x'));
  fs::create_hard_link(inFrom("a/two"), inFrom("a/link"));
  truncate(file("sparse", "").c_str(), 1 << 30);
  file("empty", "");
  EXPECT_EQ(*bytesToCopy(names(), from, std::nullopt), (1U + 2U + 1U) * 4096U);
  makeEarlier();
  EXPECT_EQ(*bytesToCopy(names(), from, options.earlier), 2U * 4096U);  // the links
  chmod(inFrom("a/one").c_str(), 0644);
  EXPECT_EQ(*bytesToCopy(names(), from, options.earlier), 2U * 4096U);
  file("a/one", "y");
  EXPECT_EQ(*bytesToCopy(names(), from, options.earlier), 3U * 4096U);
  EXPECT_EQ(*bytesToCopy({"a"}, from, std::nullopt), 3U * 4096U);
  EXPECT_EQ(bytesToCopy({"a"}, scratch.path("nowhere"), std::nullopt).error().code, ENOENT);
}

TEST_F(TakeOverTest, FindsAChange) {
  file("a/b/c", "x");
  fs::create_symlink("nowhere", inFrom("a/link"));
  file("top");
  const auto all = names();
  const struct {
    const char* what;
    std::function<void()> make;
  } changes[] = {{"file", [&] { chmod(inFrom("a/b/c").c_str(), 0640); }},
                 {"folder", [&] { fs::remove(inFrom("a/link")); }},
                 {"top", [&] { chmod(inFrom("top").c_str(), 0640); }},
                 {"folder's mode", [&] { chmod(inFrom("a/b").c_str(), 0750); }},
                 {"missing item", [&] { fs::remove(inFrom("top")); }}};
  for (const auto& each : changes) {
    const auto since = laterThanNow();
    file("new");
    EXPECT_FALSE(anyChangedSince(all, from, since)) << each.what;
    each.make();
    EXPECT_TRUE(anyChangedSince(all, from, since)) << each.what;
  }
  EXPECT_EQ(changeTime(inFrom("none")).error().code, ENOENT);
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
