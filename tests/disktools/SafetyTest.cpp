// What the program must not do although it has root's rights.

#include "disktools/Target.h"
#include "tests/disktools/Bench.h"
#include "tests/support/OtherProgram.h"

namespace {

// The installed program as an ordinary user meets it: real user 1000, effective user 0.
class SetUserId : public Disks {
 protected:
  void SetUp() override {
    Disks::SetUp();
    if (!isRealRoot()) GTEST_SKIP() << "acting for other users takes the machine's root";
  }
};

struct stat factsOf(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
  return info;
}

TEST_F(Disks, NoLinkIsFollowedAndNoPrivateMountTouched) {
  const std::string node = disk();
  scratch.directory("real/below");
  fs::create_symlink(scratch.path("real"), scratch.path("link"));
  const std::pair<std::string, const char*> targets[] = {
      {scratch.path("link"), "symbolic link"},
      {scratch.path("link/below"), "symbolic link"},
      {scratch.file("file"), "Not a directory"},
      {scratch.path("missing"), "No such file"},
      {"/run/tarnvale/disk4", "cannot be mounted over"}};
  for (const auto& [path, told] : targets) EXPECT_TRUE(isRefused(mount(node, path), told)) << path;
  EXPECT_EQ(images().at(0).mountPoint, std::nullopt);

  ASSERT_EQ(mount(node, scratch.path("real/below")).status, 0);
  EXPECT_TRUE(isRefused(tool("umount", {"-f", scratch.path("link/below")}), "symbolic link"));
  EXPECT_TRUE(isRefused(tool("umount", {"-f", "/run/tarnvale/disk4"}), "no device is mounted"));
  EXPECT_EQ(images().at(0).mountPoint, scratch.path("real/below"));
}

TEST_F(Disks, OnlyTheDevicesOwnMountIsChangedOrTakenAway) {
  const std::string node = disk();
  const std::string other = disk();
  const std::string path = scratch.directory("real/x");
  const auto change = [&](const std::string& device, const std::string& where) {
    return tool("mount", {"-u", "-o", "rdonly", device, where});
  };
  EXPECT_TRUE(isRefused(change(node, path), "no device is mounted"));
  EXPECT_TRUE(isRefused(change(node, "/run/tarnvale/disk4"), "no device is mounted"));
  EXPECT_TRUE(isRefused(change(node, "/proc"), "not mounted at /proc"));
  EXPECT_TRUE(isRefused(change("/dev/disk9", path), "there is no /dev/disk9"));
  ASSERT_EQ(mount(node, path).status, 0);
  EXPECT_TRUE(isRefused(change(other, path), other + " is not mounted at"));
  EXPECT_TRUE(isRefused(change(node, scratch.directory("real/x/below")), "no device is mounted"));

  fs::create_symlink(scratch.path("real"), scratch.path("link"));
  fs::create_symlink(path, scratch.path("to-x"));
  EXPECT_TRUE(isRefused(change(node, scratch.path("link/x")), "symbolic link"));
  EXPECT_TRUE(isRefused(change(node, scratch.path("to-x")), "no device is mounted"));

  ASSERT_EQ(::mount(node.c_str(), path.c_str(), "tmpfs", 0, nullptr), 0);  // a foreign one, above
  EXPECT_TRUE(isRefused(change(node, path), "is not mounted at"));
  EXPECT_TRUE(isRefused(tool("umount", {"-f", path}), "no device is mounted"));
  EXPECT_TRUE(isRefused(tool("hdiutil", {"detach", node}), "covered"));
  ASSERT_EQ(umount2(path.c_str(), 0), 0);
  EXPECT_EQ(readFile(scratch.file("real/x/file", "in")), "in") << "it became read-only";
  EXPECT_EQ(tool("umount", {"-f", path}).status, 0);
}

TEST_F(SetUserId, AUserMountsOverOwnDirectoriesOnly) {
  const std::string mine = directoryOf(kUser, "mine");
  const std::string hidden = directoryOf(kUser, "closed/hidden");
  fs::permissions(scratch.path("closed"), fs::perms::owner_all);
  for (const std::string backing : {"tmpfs", "block"}) {
    if (backing == "block" && access("/dev/loop-control", W_OK) != 0)
      GTEST_SKIP() << "no loop devices";
    const std::string node = disk(4, kUser, backing);
    const auto attempt = [&](const std::string& path) {
      return program("mount", {"-o", "noatime", "-t", "hfs", node, path}, kUser);
    };
    for (const std::string& path :
         {directoryOf(kStranger, "others"), scratch.directory("roots"), std::string("/etc")})
      EXPECT_TRUE(isRefused(attempt(path), "belongs to another user")) << path;
    EXPECT_TRUE(isRefused(attempt(hidden), "Permission denied"));
    EXPECT_EQ(images().at(0).mountPoint, std::nullopt);

    EXPECT_EQ(attempt(mine).status, 0);
    EXPECT_EQ(images(kUser).at(0).mountPoint, mine);
    EXPECT_EQ(factsOf(mine).st_uid, kUser.uid) << backing;
    EXPECT_EQ(factsOf(mine).st_gid, kUser.gid) << backing;
    EXPECT_EQ(program("mount", {"-u", "-o", "rdonly", node, mine}, kUser).status, 0);
    EXPECT_EQ(program("umount", {"-f", mine}, kUser).status, 0);
    EXPECT_EQ(program("hdiutil", {"detach", node}, kUser).status, 0);
  }
}

// In a process that may not become the caller.
TEST(AsCaller, NothingIsReachedWithRootsRightsInstead) {
  OtherProgram stranger([](const OtherProgram&) {
    static_cast<void>(setresuid(kStranger.uid, kStranger.uid, kStranger.uid));
    const auto pinned = disktools::pinDirectory(kUser, "/");
    return !pinned && text(pinned.error()).find("caller's rights") != std::string::npos;
  });
  EXPECT_TRUE(stranger.ended());
}

TEST_F(SetUserId, AUserMountsOverNothingThatKeepsNoFiles) {
  const std::string path = scratch.directory("queues");
  ASSERT_EQ(::mount("queues", path.c_str(), "mqueue", 0, nullptr), 0);
  EXPECT_EQ(factsOf(directoryOf(kUser, "queues")).st_uid, kUser.uid);
  EXPECT_TRUE(isRefused(mount(disk(4, kUser), path, kUser), "takes no mounts"));
}

TEST_F(SetUserId, ADeviceIsItsUsersAndRoots) {
  const std::string path = directoryOf(kUser, "x");
  const std::string theirs = directoryOf(kStranger, "theirs");
  const std::string node = disk(4, kUser);
  ASSERT_EQ(mount(node, path, kUser).status, 0);
  EXPECT_EQ(images(kUser).size(), 1U);
  EXPECT_EQ(images(kStranger).size(), 0U);
  EXPECT_EQ(images(kRoot).size(), 1U);
  const std::pair<const char*, Words> attempts[] = {
      {"umount", {"-f", path}},
      {"mount", {"-u", "-o", "rdonly", node, path}},
      {"mount", {"-t", "hfs", node, theirs}},
      {"mdutil", {"-E", path}},
      {"newfs_hfs", {"-v", "n", node}},
      {"diskutil", {"erasevolume", "HFS+", "n", node}},
      {"hdiutil", {"detach", node}}};
  for (const auto& [applet, words] : attempts)
    EXPECT_TRUE(isRefused(program(applet, words, kStranger), "belongs to another user")) << applet;
  EXPECT_EQ(images(kUser).at(0).mountPoint, path);
}

TEST_F(SetUserId, OneUsersDevicesFitInTheMemoryAndAreAtMost64) {
  const auto sectors = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) * 4096 / 512;
  const std::string most = "ram://" + std::to_string(sectors * 6 / 10);
  const Words large = {"attach", "-nomount", "-plist", most};
  EXPECT_EQ(program("hdiutil", large, kUser).status, 0);
  EXPECT_TRUE(isRefused(program("hdiutil", large, kUser), "quota"));
  EXPECT_EQ(program("hdiutil", large, kStranger).status, 0);

  const Words small = {"attach", "-nomount", "-backing", "tmpfs", "ram://8"};
  for (int count = 1; count < 64; ++count) ASSERT_EQ(tool("hdiutil", small, kUser).status, 0);
  EXPECT_TRUE(isRefused(tool("hdiutil", small, kUser), "64 devices already"));
  EXPECT_EQ(tool("hdiutil", small, kStranger).status, 0);
  EXPECT_EQ(tool("hdiutil", small, kRoot).status, 0);
}

TEST_F(SetUserId, TheMediaDirectoryIsSeenButNotOwnedByItsUser) {
  const std::string node = disk(4, kUser);
  ASSERT_EQ(program("diskutil", {"erasevolume", "HFS+", "Mine", node}, kUser).status, 0);
  const std::string media = "/run/media/" + kUser.name();
  EXPECT_EQ(images(kUser).at(0).mountPoint, media + "/Mine");
  EXPECT_EQ(factsOf(media).st_uid, 0U);
  EXPECT_EQ(factsOf(media).st_gid, kUser.gid);
  EXPECT_EQ(factsOf(media).st_mode & 07777U, 0750U);
}

TEST(Purge, IsForTheMachinesRoot) {
  const Outcome outcome = program("purge", {}, isRealRoot() ? kUser : kRoot);
  EXPECT_TRUE(isRefused(outcome, "only root may")) << outcome.err;
}

}  // namespace
