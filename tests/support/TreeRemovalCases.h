#pragma once
// What each remover of trees must do, given as the parameter of the cases.

#include <cstdio>

#include "leaf/Descriptor.h"
#include "platform/Result.h"
#include "tests/support/FewDescriptors.h"
#include "tests/support/Privileges.h"

namespace removal {

inline std::int64_t codeOf(const platform::Outcome& done) { return done ? 0 : done.error().code; }

class TreeRemovalCases
    : public testing::TestWithParam<platform::Outcome (*)(const std::string& path)> {
 protected:
  static platform::Outcome removeTree(const std::string& path) { return GetParam()(path); }

  const Scratch scratch;
};

TEST_P(TreeRemovalCases, RemovesLinksAndLeavesWhatTheyLeadTo) {
  const std::string kept = scratch.file("outside/kept", "kept");
  for (const std::string link : {"tree/toDirectory", "tree/sub/toDirectory", "link"}) {
    fs::create_directories(fs::path(scratch.path(link)).parent_path());
    fs::create_directory_symlink(scratch.path("outside"), scratch.path(link));
  }
  fs::create_symlink(kept, scratch.path("tree/toFile"));
  fs::create_symlink(scratch.path("nowhere"), scratch.path("tree/dangling"));
  EXPECT_EQ(codeOf(removeTree(scratch.path("tree"))), 0);
  EXPECT_EQ(codeOf(removeTree(scratch.path("link/"))), 0);
  EXPECT_FALSE(fs::exists(fs::symlink_status(scratch.path("tree"))));
  EXPECT_FALSE(fs::exists(fs::symlink_status(scratch.path("link"))));
  EXPECT_EQ(readFile(kept), "kept");
}

TEST_P(TreeRemovalCases, StaysInsideWhileDirectoriesBecomeLinks) {
  const std::string kept = scratch.file("outside/kept", "kept");
  const std::string spare = scratch.path("spare");
  const std::string inside = scratch.path("tree/swapped");
  std::atomic<bool> done = false;
  std::thread swapping([&] {
    while (!done) renameat2(AT_FDCWD, spare.c_str(), AT_FDCWD, inside.c_str(), RENAME_EXCHANGE);
  });
  for (int i = 0; i < 1000; ++i) {
    std::remove(spare.c_str());
    std::remove(inside.c_str());
    std::error_code ignored;
    fs::create_directory_symlink(scratch.path("outside"), spare, ignored);
    mkdir(scratch.path("tree").c_str(), 0755);
    mkdir(inside.c_str(), 0755);
    for (int file = 0; file < 10; ++file) scratch.file("tree/" + std::to_string(file));
    removeTree(scratch.path("tree"));  // may fail for what is swapped under it
  }
  done = true;
  swapping.join();
  EXPECT_EQ(readFile(kept), "kept");
}

TEST_P(TreeRemovalCases, StopsAtMountPoints) {
  const std::string source = scratch.file("source/inside", "kept");
  const std::string point = scratch.directory("tree/a/point");
  const std::string folder = scratch.path("source");
  const struct {
    const char* from;
    const char* type;
    unsigned long flags;
  } cases[] = {{"tmpfs", "tmpfs", 0}, {folder.c_str(), nullptr, MS_BIND}};
  for (const auto& each : cases) {
    ASSERT_EQ(mount(each.from, point.c_str(), each.type, each.flags, nullptr), 0);
    std::ofstream(point + "/inside") << "kept";
    for (const std::string& asked : {scratch.path("tree"), point}) {
      const auto removed = removeTree(asked);
      ASSERT_FALSE(removed) << each.from;
      EXPECT_EQ(removed.error().code, EBUSY);
      EXPECT_EQ(removed.error().text, point + ": Device or resource busy");
      EXPECT_EQ(readFile(point + "/inside"), "kept");
    }
    umount2(point.c_str(), MNT_DETACH);
  }
  EXPECT_EQ(codeOf(removeTree(scratch.path("tree"))), 0);
  EXPECT_EQ(readFile(source), "kept");
}

TEST_P(TreeRemovalCases, LooksFirstWhoseModeItChanges) {
  const std::string point = scratch.directory("tree/point");
  ASSERT_EQ(mount("tmpfs", point.c_str(), "tmpfs", 0, "mode=000"), 0);
  withoutPrivileges([&] { EXPECT_NE(codeOf(removeTree(scratch.path("tree"))), 0); });
  EXPECT_EQ(fs::status(point).permissions(), fs::perms::none);
}

TEST_P(TreeRemovalCases, OpensTheUsersOwnLockedDirectoriesAndNeedNotListTheOneAbove) {
  for (const auto mode : {0, 0500, 0300, 0400}) {
    const auto name = "folder/tree/locked" + std::to_string(mode);
    scratch.file(name + "/below/file");
    for (const std::string& each : {name + "/below", name})
      ASSERT_EQ(chmod(scratch.path(each).c_str(), static_cast<mode_t>(mode)), 0);
  }
  ASSERT_EQ(chmod(scratch.path("folder").c_str(), 0300), 0);
  withoutPrivileges([&] { EXPECT_EQ(codeOf(removeTree(scratch.path("folder/tree"))), 0); });
  EXPECT_FALSE(fs::exists(scratch.path("folder/tree")));
}

TEST_P(TreeRemovalCases, TakesFewDescriptorsAndNoStackForDeepTrees) {
  constexpr int kLevels = 5000;
  Descriptor folder(open(scratch.directory("tree").c_str(), O_DIRECTORY | O_CLOEXEC));
  for (int i = 0; i < kLevels; ++i) {
    ASSERT_EQ(mkdirat(folder.get(), "level", 0755), 0);
    ASSERT_EQ(mknodat(folder.get(), "file", S_IFREG | 0644, 0), 0);
    folder.reset(openat(folder.get(), "level", O_DIRECTORY | O_CLOEXEC));
  }
  folder.reset();
  const FewDescriptors few;
  const auto before = openDescriptors();
  EXPECT_EQ(codeOf(removeTree(scratch.path("tree"))), 0);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_FALSE(fs::exists(scratch.path("tree")));
}

TEST_P(TreeRemovalCases, TakesNamesOfAnyBytesAndManyOfThem) {
  for (const std::string name : {"-rf", "a\nb", "\xFF\xFE", " ", "*", "\\", "...", ".hidden"}) {
    scratch.file("tree/" + name + "/" + name);
    scratch.file("tree/files/" + name);
  }
  for (int i = 0; i < 3000; ++i) scratch.file("tree/many/" + std::to_string(i));
  EXPECT_EQ(codeOf(removeTree(scratch.path("tree") + "//")), 0);
  EXPECT_FALSE(fs::exists(scratch.path("tree")));
}

TEST_P(TreeRemovalCases, RefusesWhatNamesNoItem) {
  scratch.file("kept/file");
  const struct {
    std::string path;
    int code;
  } cases[] = {{"", ENOENT},
               {"/", EBUSY},
               {"//", EBUSY},
               {scratch.path("kept/."), EINVAL},
               {scratch.path("kept/.."), EINVAL},
               {scratch.path("missing"), ENOENT},
               {scratch.path("kept/file/below"), ENOTDIR}};
  for (const auto& each : cases) EXPECT_EQ(codeOf(removeTree(each.path)), each.code) << each.path;
  EXPECT_TRUE(fs::exists(scratch.path("kept/file")));
}

}  // namespace removal
