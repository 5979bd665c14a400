// What the engine sends and what it reads in return, for both ways of keeping a device.

#include <sys/mman.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>

#include "leaf/MountTable.h"
#include "tests/disktools/Bench.h"

namespace {

class Contract : public Disks, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    Disks::SetUp();
    if (std::string(GetParam()) == "block" && (!isRealRoot() || access("/dev/loop-control", W_OK)))
      GTEST_SKIP() << "no loop devices for this user here";
  }
  std::string disk(int megabytes = 4) { return Disks::disk(megabytes, kRoot, GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Backings, Contract, testing::Values("tmpfs", "block"),
                         [](const auto& each) { return std::string(each.param); });

// Writes until the volume is full and gives the bytes that went in, −1 for any other end.
std::int64_t fill(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
  const std::string block(65536, 'x');
  std::int64_t total = 0;
  ssize_t count = 0;
  while ((count = write(file, block.data(), block.size())) > 0) total += count;
  const bool full = errno == ENOSPC;
  close(file);
  return full ? total : -1;
}

unsigned long flagsOf(const std::string& path) {
  struct statvfs info {};
  EXPECT_EQ(statvfs(path.c_str(), &info), 0);
  return info.f_flag;
}

TEST_P(Contract, AttachPrintsOneEntityWithItsNode) {
  const Words words = {"attach",  "-nomount", "-plist",  "ram://8192",
                       "-kernel", "-backing", GetParam()};
  for (const std::string node : {"/dev/disk4", "/dev/disk5"}) {
    const Outcome made = program("hdiutil", words);
    ASSERT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(attachedIn(made.out), (Image{"", node, std::nullopt}));
  }
  EXPECT_EQ(images(), (std::vector<Image>{{"ram://8192", "/dev/disk4", std::nullopt},
                                          {"ram://8192", "/dev/disk5", std::nullopt}}));
}

TEST_P(Contract, NewFilesystemPrintsOneLineAndEmptiesTheVolume) {
  const std::string node = disk(24);
  const std::string path = mounted(node, "x");
  scratch.file("x/deep/file", "old");
  ASSERT_EQ(tool("umount", {"-f", path}).status, 0);
  EXPECT_EQ(program("newfs_hfs", {"-v", "N", node}).out,
            "Initialized /dev/rdisk4 as a 24 MB HFS Plus volume\n");
  EXPECT_EQ(program("newfs_hfs", {"-s", "-v", "N", node}).out,
            "Initialized /dev/rdisk4 as a 24 MB case-sensitive HFS Plus volume\n");
  EXPECT_TRUE(fs::is_empty(mounted(node, "x")));
}

TEST_P(Contract, ContentsStayWithTheDeviceUntilItIsDetached) {
  const std::string node = disk();
  const std::string first = scratch.directory("first");
  const Words arguments = {"-o", "noatime", "-o", "nobrowse", "-t", "hfs", node, first};
  ASSERT_EQ(program("mount", arguments).status, 0);
  EXPECT_EQ(images().at(0).mountPoint, first);
  scratch.file("first/kept", "contents");
  ASSERT_EQ(setxattr(first.c_str(), "user.tarnvale.info", "label", 5, 0), 0);
  ASSERT_EQ(program("umount", {"-f", first}).status, 0);
  EXPECT_TRUE(fs::is_empty(first));
  EXPECT_EQ(images().at(0).mountPoint, std::nullopt);

  const std::string second = mounted(node, "second");
  EXPECT_EQ(readFile(second + "/kept"), "contents");
  char label[8] = {};
  EXPECT_EQ(getxattr(second.c_str(), "user.tarnvale.info", label, sizeof label), 5);

  ASSERT_EQ(program("hdiutil", {"detach", node}).status, 0);
  EXPECT_TRUE(fs::is_empty(second));
  EXPECT_EQ(images(), std::vector<Image>{});
  EXPECT_EQ(readFile("/proc/self/mountinfo").find("disk4"), std::string::npos);
  for (const auto& entry : fs::directory_iterator("/run/tarnvale"))
    EXPECT_EQ(entry.path().filename(), "lock");
}

TEST_P(Contract, TheVolumeHasItsSizeAndGivesNoRights) {
  const std::string path = mounted(disk(16), "x");
  constexpr unsigned long flags = ST_NOSUID | ST_NODEV | ST_NOATIME;
  EXPECT_EQ(flagsOf(path) & flags, flags);
  const std::int64_t size = 16 << 20;
  const std::int64_t full = fill(path + "/file");
  EXPECT_LE(full, size);
  EXPECT_GE(full, size * 8 / 10);
  fs::remove(path + "/file");
  EXPECT_EQ(fill(path + "/file"), full);
}

TEST_P(Contract, WritersAreHeldOffAndLetInAgain) {
  const std::string node = disk();
  const std::string path = scratch.directory("x");
  const auto become = [&](const char* mode) {
    return program("mount", {"-u", "-o", mode, node, path}).status == 0;
  };
  ASSERT_EQ(program("mount", {"-o", "noexec", "-t", "hfs", node, path}).status, 0);
  const unsigned long before = flagsOf(path);
  const std::string file = scratch.file("x/file", "kept");
  ASSERT_TRUE(become("rdonly"));
  EXPECT_EQ(flagsOf(path), before | ST_RDONLY);
  EXPECT_EQ(open(file.c_str(), O_WRONLY), -1);
  EXPECT_EQ(readFile(file), "kept");
  EXPECT_TRUE(become("rdonly")) << "twice";
  ASSERT_TRUE(become("rw"));
  EXPECT_EQ(flagsOf(path), before);

  ASSERT_TRUE(become("rdonly"));
  ASSERT_EQ(program("umount", {"-f", path}).status, 0);
  ASSERT_EQ(mount(node, path).status, 0);
  EXPECT_EQ(flagsOf(path) & ST_RDONLY, 0U) << "the device itself was never read-only";
}

// A mapping outlives its descriptor and is a writer as well.
TEST_P(Contract, AFileOpenForWritingKeepsTheVolumeWritable) {
  const std::string node = disk();
  const std::string path = mounted(node, "x");
  const std::string file = scratch.file("x/file", std::string(4096, 'x'));
  const Words readOnly = {"-u", "-o", "rdonly", node, path};
  const std::string told = path + " read-only: Resource busy";
  int descriptor = open(file.c_str(), O_RDWR);
  void* const mapped = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  ASSERT_NE(mapped, MAP_FAILED);
  EXPECT_TRUE(isRefused(program("mount", readOnly), told));
  close(descriptor);
  EXPECT_TRUE(isRefused(program("mount", readOnly), told));
  munmap(mapped, 4096);
  EXPECT_EQ(flagsOf(path) & ST_RDONLY, 0U);

  descriptor = open(file.c_str(), O_RDONLY);
  EXPECT_EQ(program("mount", readOnly).status, 0) << "a reader holds nobody up";
  close(descriptor);
}

TEST_P(Contract, EraseVolumeMountsInTheMediaDirectoryUnderAFreeName) {
  const std::string media = "/run/media/" + kRoot.name();
  const Words kinds = {"HFS+", "Case-sensitive HFS+"};
  const Words places = {media + "/My Disk", media + "/My Disk 1"};
  for (std::size_t i = 0; i < 2; ++i) {
    const std::string node = disk();
    const Outcome erased = program("diskutil", {"erasevolume", kinds[i], "My Disk", node});
    ASSERT_EQ(erased.status, 0) << erased.err;
    EXPECT_EQ(images().at(i).mountPoint, places[i]);
    EXPECT_EQ(program("diskutil", {"erasevolume", "HFS+", "Again", node}).status, 1);
  }
  EXPECT_EQ(tool("umount", {"-f", places[0]}).status, 0);
  EXPECT_EQ(tool("hdiutil", {"detach", "/dev/disk5"}).status, 0);
  EXPECT_TRUE(fs::is_empty(media));
}

TEST_P(Contract, IndexingIsAcceptedForVolumesOnly) {
  const std::string path = mounted(disk(), "x");
  for (const Words& words :
       {Words{"-i", "on", path}, {"-i", "off", path}, {"-E", path}, {"-d", path}})
    EXPECT_EQ(program("mdutil", words).status, 0);
  EXPECT_EQ(program("mdutil", {"-E", scratch.path()}).status, 1);
  EXPECT_EQ(program("mdutil", {"-i", "perhaps", path}).status, 1);
}

TEST_P(Contract, TheMountTableLeadsBackToTheNode) {
  disk();
  const auto text = readMountTable();
  auto table = parseMountTable(*text);
  std::erase_if(table, [](const auto& line) { return line.mountedOn != "/run/tarnvale/disk4"; });
  ASSERT_EQ(table.size(), 1U);
  const std::string source(table[0].source);
  if (std::string(GetParam()) == "tmpfs") {
    EXPECT_EQ(source, "/dev/disk4");
    return;
  }
  const std::string file =
      "/sys/block/" + fs::path(source).filename().string() + "/loop/backing_file";
  EXPECT_EQ(readFile(file), "/memfd:tarnvale-disk4 (deleted)\n");
  ASSERT_EQ(tool("hdiutil", {"detach", "/dev/disk4"}).status, 0);
  EXPECT_FALSE(fs::exists(file)) << "the block device still holds its memory";
}

}  // namespace
