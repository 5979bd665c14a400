// What the program must not do although it has root's rights.

#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/disktools/Bench.h"

namespace fs = std::filesystem;

namespace {

bool contains(const Outcome& outcome, const std::string& text) {
  return outcome.status == 1 && outcome.err.find(text) != std::string::npos;
}

// The installed program as an ordinary user meets it: real user 1000, effective user 0.
class SetUserId : public Disks {
 protected:
  void SetUp() override {
    Disks::SetUp();
    if (!isRealRoot()) GTEST_SKIP() << "acting for other users takes the machine's root";
  }
};

TEST_F(Disks, NoLinkIsFollowedToATarget) {
  const std::string node = disk();
  scratch.directory("real/below");
  fs::create_symlink(scratch.path("real"), scratch.path("link"));
  EXPECT_TRUE(contains(mount(node, scratch.path("link")), "symbolic link"));
  EXPECT_TRUE(contains(mount(node, scratch.path("link/below")), "symbolic link"));
  EXPECT_TRUE(contains(mount(node, scratch.file("file")), "Not a directory"));
  EXPECT_TRUE(contains(mount(node, scratch.path("missing")), "No such file"));
  EXPECT_EQ(images().at(0).mountPoint, std::nullopt);

  ASSERT_EQ(mount(node, scratch.path("real/below")).status, 0);
  EXPECT_TRUE(contains(tool("umount", {"-f", scratch.path("link/below")}), "symbolic link"));
  EXPECT_EQ(images().at(0).mountPoint, scratch.path("real/below"));
}

TEST_F(Disks, ThePrivateMountIsNoTargetAndIsNotUnmounted) {
  disk();
  EXPECT_TRUE(contains(mount(disk(), "/run/tarnvale/disk4"), "cannot be mounted over"));
  EXPECT_TRUE(contains(tool("umount", {"-f", "/run/tarnvale/disk4"}), "no device is mounted"));
  EXPECT_EQ(images().size(), 2U);
}

TEST_F(Disks, AForeignMountOnTopOfOursIsNotUnmounted) {
  const std::string path = scratch.directory("x");
  ASSERT_EQ(mount(disk(), path).status, 0);
  ASSERT_EQ(::mount("/dev/disk4", path.c_str(), "tmpfs", 0, nullptr), 0);
  EXPECT_TRUE(contains(tool("umount", {"-f", path}), "no device is mounted"));
  EXPECT_TRUE(contains(tool("hdiutil", {"detach", "/dev/disk4"}), "covered"));
  ASSERT_EQ(umount2(path.c_str(), 0), 0);
  EXPECT_EQ(tool("umount", {"-f", path}).status, 0);
}

TEST_F(Disks, OnlyTheDevicesOwnMountIsChanged) {
  const std::string node = disk();
  const std::string other = disk();
  const std::string path = scratch.directory("real/x");
  const auto change = [&](const std::string& device, const std::string& where) {
    return tool("mount", {"-u", "-o", "rdonly", device, where});
  };
  EXPECT_TRUE(contains(change(node, path), "no device is mounted"));
  EXPECT_TRUE(contains(change(node, "/run/tarnvale/disk4"), "no device is mounted"));
  EXPECT_TRUE(contains(change(node, "/proc"), "not mounted at /proc"));
  EXPECT_TRUE(contains(change("/dev/disk9", path), "there is no /dev/disk9"));
  ASSERT_EQ(mount(node, path).status, 0);
  EXPECT_TRUE(contains(change(other, path), other + " is not mounted at"));
  EXPECT_TRUE(contains(change(node, scratch.directory("real/x/below")), "no device is mounted"));

  fs::create_symlink(scratch.path("real"), scratch.path("link"));
  fs::create_symlink(path, scratch.path("to-x"));
  EXPECT_TRUE(contains(change(node, scratch.path("link/x")), "symbolic link"));
  EXPECT_TRUE(contains(change(node, scratch.path("to-x")), "no device is mounted"));

  ASSERT_EQ(::mount("foreign", path.c_str(), "tmpfs", 0, nullptr), 0);
  EXPECT_TRUE(contains(change(node, path), "is not mounted at"));
  ASSERT_EQ(umount2(path.c_str(), 0), 0);
  EXPECT_EQ(readFile(scratch.file("real/x/file", "in")), "in") << "it became read-only";
}

TEST_F(SetUserId, AUserMountsOverOwnDirectoriesOnly) {
  const std::string mine = directoryOf(kUser, "mine");
  const std::string others = directoryOf(kStranger, "others");
  const std::string roots = scratch.directory("roots");
  const std::string hidden = directoryOf(kUser, "closed/hidden");
  fs::permissions(scratch.path("closed"), fs::perms::owner_all);
  const std::string node = disk(4, kUser);
  const auto attempt = [&](const std::string& path) {
    return program("mount", {"-o", "noatime", "-t", "hfs", node, path}, kUser);
  };
  EXPECT_TRUE(contains(attempt(others), "belongs to another user"));
  EXPECT_TRUE(contains(attempt(roots), "belongs to another user"));
  EXPECT_TRUE(contains(attempt("/etc"), "belongs to another user"));
  EXPECT_TRUE(contains(attempt(hidden), "Permission denied"));
  EXPECT_EQ(images().at(0).mountPoint, std::nullopt);

  EXPECT_EQ(attempt(mine).status, 0);
  EXPECT_EQ(images(kUser).at(0).mountPoint, mine);
  EXPECT_EQ(program("mount", {"-u", "-o", "rdonly", node, mine}, kUser).status, 0);
}

TEST_F(SetUserId, TheVolumeBelongsToItsUser) {
  const std::string path = directoryOf(kUser, "x");
  for (const std::string backing : {"tmpfs", "block"}) {
    if (backing == "block" && access("/dev/loop-control", W_OK) != 0)
      GTEST_SKIP() << "no loop devices";
    const std::string node = disk(4, kUser, backing);
    ASSERT_EQ(mount(node, path, kUser).status, 0);
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_uid, kUser.uid) << backing;
    EXPECT_EQ(info.st_gid, kUser.gid) << backing;
    EXPECT_EQ(program("umount", {"-f", path}, kUser).status, 0);
    EXPECT_EQ(program("hdiutil", {"detach", node}, kUser).status, 0);
  }
}

TEST_F(SetUserId, AUserMountsOverNothingThatIsNoFile) {
  const std::string node = disk(4, kUser);
  int ready[2] = {};
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    static_cast<void>(setresgid(kUser.gid, kUser.gid, kUser.gid));
    static_cast<void>(setresuid(kUser.uid, kUser.uid, kUser.uid));
    prctl(PR_SET_DUMPABLE, 1);  // or its directories would be root's
    static_cast<void>(write(ready[1], "", 1));
    pause();
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  const std::string path = "/proc/" + std::to_string(child) + "/task";
  struct stat info {};
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  ASSERT_EQ(info.st_uid, kUser.uid);
  EXPECT_TRUE(contains(mount(node, path, kUser), "takes no mounts"));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(ready[0]);
  close(ready[1]);
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
    EXPECT_TRUE(contains(program(applet, words, kStranger), "belongs to another user")) << applet;
  EXPECT_EQ(images(kUser).at(0).mountPoint, path);
}

TEST_F(SetUserId, OneUsersDevicesFitInTheMemory) {
  const auto sectors = static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) * 4096 / 512;
  const std::string most = "ram://" + std::to_string(sectors * 6 / 10);
  const Words words = {"attach", "-nomount", "-plist", most};
  EXPECT_EQ(program("hdiutil", words, kUser).status, 0);
  EXPECT_TRUE(contains(program("hdiutil", words, kUser), "quota"));
  EXPECT_EQ(program("hdiutil", words, kStranger).status, 0);
}

TEST_F(SetUserId, TheMediaDirectoryIsSeenButNotOwnedByItsUser) {
  const std::string node = disk(4, kUser);
  ASSERT_EQ(program("diskutil", {"erasevolume", "HFS+", "Mine", node}, kUser).status, 0);
  const std::string media = "/run/media/" + kUser.name();
  EXPECT_EQ(images(kUser).at(0).mountPoint, media + "/Mine");
  struct stat info {};
  ASSERT_EQ(stat(media.c_str(), &info), 0);
  EXPECT_EQ(info.st_uid, 0U);
  EXPECT_EQ(info.st_gid, kUser.gid);
  EXPECT_EQ(info.st_mode & 07777U, 0750U);
}

TEST(Purge, IsForTheMachinesRoot) {
  const Outcome outcome = program("purge", {}, isRealRoot() ? kUser : kRoot);
  EXPECT_TRUE(contains(outcome, "only root may")) << outcome.err;
}

}  // namespace
