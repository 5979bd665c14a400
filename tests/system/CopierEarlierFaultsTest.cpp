// What an earlier copy stands in for: entries that cannot be read, and those that never came in.

#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <functional>

#include "leaf/Descriptor.h"
#include "tests/support/Privileges.h"
#include "tests/system/EarlierCopyTest.h"

namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

using EarlierFaultsTest = EarlierCopyTest;

TEST_F(EarlierFaultsTest, CopiesWhatCannotBeReadFromTheEarlierCopy) {
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

TEST_F(EarlierFaultsTest, TakesOverWhatTheOriginalLacks) {
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

    fs::remove_all(to);
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

// Deeper than a path can say, on a disk that goes away with it.
TEST_F(EarlierFaultsTest, TakesOverBelowTheLongestPath) {
  ASSERT_EQ(mount("none", scratch.path().c_str(), "tmpfs", 0, nullptr), 0);
  const std::string name(255, '\xfe');  // no UTF-8, and as long as names are
  constexpr int kLevels = 40;
  constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  mkdir(from.c_str(), 0755);
  Descriptor at(open(from.c_str(), kFolder));
  std::string path;
  for (int level = 0; level < kLevels; ++level) {
    mkdirat(at.get(), name.c_str(), 0755);
    at = Descriptor(openat(at.get(), name.c_str(), kFolder));
    path += name + "/";
  }
  for (const auto* each : {"lacking", "kept"})
    Descriptor(openat(at.get(), each, O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  makeEarlier();
  unlinkat(at.get(), "lacking", 0);
  options.earlier->lacking = {path + "lacking"};
  const auto outcome = copyAgain();
  EXPECT_TRUE(outcome.complete());
  EXPECT_EQ(outcome.sharedInodes, 2U);
  EXPECT_EQ(outcome.copied.entries, kLevels + 2U);
  fs::current_path("/");
  umount2(scratch.path().c_str(), MNT_DETACH);
}

TEST_F(EarlierFaultsTest, CopiesItemsInOneRun) {
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

TEST_F(EarlierFaultsTest, NamesASingleItemsFailures) {
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

TEST_F(EarlierFaultsTest, ListsOnlySoManyFailures) {
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
  umount(disk.c_str());
}

using MeasuresTest = EarlierCopyTest;

TEST_F(MeasuresTest, CountsWhatWouldBeCopied) {
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

TEST_F(MeasuresTest, FindsAChange) {
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

}  // namespace
