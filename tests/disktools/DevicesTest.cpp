// Devices next to each other, in use, under odd names, and what is left of broken ones.

#include "disktools/State.h"
#include "leaf/Descriptor.h"
#include "tests/disktools/Bench.h"
#include "tests/support/OtherProgram.h"

namespace {

bool isBusy(const Outcome& outcome) { return isRefused(outcome, "Resource busy"); }

TEST_F(Disks, AttachingAtTheSameTimeGivesDifferentNodesFromTheSmallestOn) {
  constexpr int processes = 12;
  for (int i = 0; i < processes; ++i)
    if (fork() == 0)
      _exit(program("hdiutil", {"attach", "-nomount", "-plist", "ram://256"}).status);
  for (int i = 0; i < processes; ++i) {
    int status = 0;
    ASSERT_GT(wait(&status), 0);
    EXPECT_EQ(status, 0);
  }
  std::set<std::string> nodes;
  for (const Image& image : images()) nodes.insert(image.node);
  EXPECT_EQ(nodes.size(), processes);
  EXPECT_TRUE(nodes.contains("/dev/disk4") && nodes.contains("/dev/disk15"));
  ASSERT_EQ(tool("hdiutil", {"detach", "/dev/disk5"}).status, 0);
  EXPECT_EQ(disk(), "/dev/disk5");
}

TEST_F(Disks, AMountedDeviceIsNeitherMountedAgainNorErased) {
  const std::string node = disk();
  const std::string path = mounted(node, "x");
  scratch.file("x/file", "kept");
  EXPECT_TRUE(isBusy(mount(node, scratch.directory("y"))));
  EXPECT_TRUE(isBusy(tool("newfs_hfs", {"-v", "n", node})));
  EXPECT_TRUE(isBusy(tool("diskutil", {"erasevolume", "HFS+", "n", node})));
  EXPECT_EQ(readFile(path + "/file"), "kept");
  EXPECT_TRUE(fs::is_empty(mounted(disk(), "x"))) << "another one may cover it";
}

TEST_F(Disks, ABusyDeviceIsDetachedOnlyAfterAForcedUnmount) {
  const std::string node = disk();
  const std::string path = mounted(node, "x");
  const std::string bound = scratch.directory("bound");
  const Descriptor open(::open(scratch.file("x/file", "kept").c_str(), O_RDONLY));
  EXPECT_TRUE(isBusy(tool("umount", {path})));
  ASSERT_EQ(::mount(path.c_str(), bound.c_str(), nullptr, MS_BIND, nullptr), 0);
  EXPECT_TRUE(isBusy(tool("hdiutil", {"detach", node})));
  EXPECT_EQ(readFile(path + "/file"), "kept");
  EXPECT_EQ(readFile(bound + "/file"), "kept") << "what was unmounted first was not put back";
  EXPECT_EQ(images().at(0).mountPoint, path);
  EXPECT_EQ(tool("umount", {"-f", path}).status, 0);
  EXPECT_TRUE(fs::is_empty(path));
  EXPECT_EQ(tool("hdiutil", {"detach", node}).status, 0);
  EXPECT_TRUE(fs::is_empty(bound));
  EXPECT_EQ(images(), std::vector<Image>{});
}

TEST_F(Disks, AnyNameIsShownAsItIs) {
  const std::string odd[] = {"two words", "a&b<c>", "\"quoted\" 'too'", "größe 雪",
                             "tab\tline\nback\\040"};
  for (const std::string& name : odd) {
    const std::string node = disk();
    const std::string path = mounted(node, name);
    EXPECT_EQ(images().at(0).mountPoint, path);
    EXPECT_EQ(tool("umount", {"-f", path}).status, 0);
    const std::string label = name.substr(0, name.find('\t'));
    EXPECT_EQ(tool("diskutil", {"erasevolume", "HFS+", label, node}).status, 0);
    EXPECT_EQ(images().at(0).mountPoint, "/run/media/" + kRoot.name() + "/" + label);
    EXPECT_EQ(tool("hdiutil", {"detach", node}).status, 0);
  }
  const std::string path = mounted(disk(), "bad\xFFname");
  EXPECT_EQ(images().at(0).mountPoint, scratch.path("bad\xEF\xBF\xBDname"));
  EXPECT_EQ(tool("umount", {"-f", path}).status, 0);
}

TEST_F(Disks, ADamagedRecordLeavesTheDeviceToRoot) {
  for (const std::string text :
       {"", "uid=0\ngid=0\n", "uid=0\ngid=0\nsectors=-8\nbacking=tmpfs\n"}) {
    const std::string node = disk();
    const std::string path = mounted(node, "x");
    scratch.file("x/file", "kept");
    std::ofstream("/run/tarnvale/disk4.info") << text;
    EXPECT_EQ(images(), std::vector<Image>{});
    EXPECT_NE(tool("hdiutil", {"info"}).err.find("/dev/disk4 is damaged"), std::string::npos);
    EXPECT_EQ(disk(), "/dev/disk5");
    EXPECT_EQ(readFile(path + "/file"), "kept");
    EXPECT_EQ(tool("hdiutil", {"detach", node}, kUser).status, 1);
    EXPECT_EQ(tool("umount", {path}).status, 0);
    EXPECT_EQ(tool("newfs_hfs", {"-v", "n", node}).status, 1);
    EXPECT_EQ(tool("hdiutil", {"detach", node}).status, 0);
    EXPECT_EQ(tool("hdiutil", {"detach", "/dev/disk5"}).status, 0);
  }
}

bool unshareMounts() {
  return unshare(CLONE_NEWNS) == 0 && mount("", "/", "", MS_REC | MS_PRIVATE, "") == 0;
}

bool isOfAnotherNamespace(const Outcome& outcome) {
  return isRefused(outcome, "another mount namespace");
}

TEST_F(Disks, WhatAnotherNamespaceHasIsSeenAndLeftAlone) {
  int gate[2];
  ASSERT_EQ(pipe2(gate, O_CLOEXEC), 0);
  const std::string path = scratch.directory("x");
  OtherProgram before([&](OtherProgram& program) {
    char go = 0;
    close(gate[1]);
    if (!unshareMounts()) return false;
    program.tell();
    return read(gate[0], &go, 1) == 0 && images().at(0).node == "/dev/disk4" &&
           isOfAnotherNamespace(mount("/dev/disk4", path)) && disk() == "/dev/disk5";
  });
  ASSERT_TRUE(before.waitUntilTold());
  const std::string node = disk();
  ASSERT_EQ(mount(node, path).status, 0);
  scratch.file("x/file", "kept");
  close(gate[1]);
  EXPECT_TRUE(before.ended());
  close(gate[0]);
  OtherProgram after([&](OtherProgram&) {
    return unshareMounts() && isOfAnotherNamespace(tool("umount", {path})) &&
           isOfAnotherNamespace(tool("hdiutil", {"detach", node})) &&
           readFile(path + "/file") == "kept";
  });
  EXPECT_TRUE(after.ended());
  EXPECT_EQ(images().at(0).mountPoint, path);
  EXPECT_EQ(readFile(path + "/file"), "kept");
  EXPECT_EQ(tool("hdiutil", {"detach", node}).status, 0);
  const bool seesAllProcesses =
      isRealRoot() && fs::read_symlink("/proc/self/ns/pid") == "pid:[4026531836]";
  EXPECT_EQ(images().size(), seesAllProcesses ? 0U : 1U) << "it went with its namespace";
  fs::remove("/run/tarnvale/disk5.info");
}

TEST_F(Disks, WhatALostDeviceLeftIsClearedAway) {
  const std::string node = disk();
  ASSERT_EQ(umount2("/run/tarnvale/disk4", 0), 0);
  std::ofstream("/run/tarnvale/disk8.new") << "uid=";
  EXPECT_EQ(images(), std::vector<Image>{});
  for (const auto& entry : fs::directory_iterator("/run/tarnvale"))
    EXPECT_EQ(entry.path().filename(), "lock");
  EXPECT_EQ(disk(), node);
}

TEST(StateDirectory, OneThatOthersMayWriteIsNotBelieved) {
  tool("hdiutil", {"info"});
  fs::permissions("/run/tarnvale", fs::perms::all);
  EXPECT_TRUE(isRefused(tool("hdiutil", {"info"}), "writable for others"));
  fs::permissions("/run/tarnvale", fs::perms(0755));
}

TEST(Record, OnlyWhatCanBeTrueIsRead) {
  const std::string good =
      "uid=1000\ngid=100\nsectors=262144\nbacking=block\nwired=no\nformat=plain\nlabel=a=b\n"
      "media=/run/media/u/a b\nnamespace=mnt:[1]\n";
  const auto read = disktools::parseRecord(good);
  ASSERT_TRUE(read);
  EXPECT_EQ(disktools::recordText(*read), good);
  const std::pair<std::string, std::string> faults[] = {
      {"uid=1000", "uid=4294967295"}, {"uid=1000", "uid=-1"}, {"uid=1000", "nothing"},
      {"gid=100", "gid=1e2"},         {"262144", "0"},        {"262144", "18446744073709551615"},
      {"262144", "0262144"},          {"=block", "=floppy"},
  };
  for (const auto& [part, fault] : faults) {
    std::string text = good;
    text.replace(text.find(part), part.size(), fault);
    EXPECT_FALSE(disktools::parseRecord(text)) << fault;
  }
}

TEST(Text, IsMadeValid) {
  const std::string bad = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> cases[] = {
      {"größe 雪 😀", "größe 雪 😀"},
      {"a\xFF", "a" + bad},
      {"\xC3", bad},
      {"\xC0\xAF", bad + bad},
      {"\xED\xA0\x80", bad + bad + bad},
      {"\xF4\x90\x80\x80", bad + bad + bad + bad},
      {"\x01\x1B", bad + bad},
      {"\xE2\x82z", bad + bad + "z"},
      {"\t\n", "\t\n"},
      {std::string("\0", 1), bad},
  };
  for (const auto& [given, expected] : cases) EXPECT_EQ(disktools::validText(given), expected);
}

}  // namespace
