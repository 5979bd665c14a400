#include "disktools/Commands.h"
#include "disktools/Mounting.h"
#include "tests/disktools/Bench.h"

namespace {

struct Refused {
  std::string applet;
  Words words;
  int status;
  std::string told;
};

TEST_F(Disks, WrongWordsAreRefusedBeforeAnythingHappens) {
  const std::string tooMuch = "ram://36028797018963968";
  const std::vector<Refused> cases = {
      {"fdisk", {}, 64, "no command"},
      {"hdiutil", {"attach", "ram://8"}, 64, "-nomount is missing"},
      {"hdiutil", {"attach", "-nomount"}, 64, "an argument is missing"},
      {"hdiutil", {"attach", "-nomount", "-mount", "ram://8"}, 64, "unknown option -mount"},
      {"hdiutil", {"attach", "-nomount", "ram://8", "ram://9"}, 64, "unexpected argument ram://9"},
      {"hdiutil", {"attach", "-nomount", "ram://8", "-backing"}, 64, "no value after -backing"},
      {"hdiutil", {"attach", "-nomount", "-backing", "disk", "ram://8"}, 1, "no backing disk"},
      {"hdiutil", {"attach", "-nomount", "ram://0"}, 1, "number of sectors"},
      {"hdiutil", {"attach", "-nomount", "ram://-1"}, 1, "number of sectors"},
      {"hdiutil", {"attach", "-nomount", "ram://8x"}, 1, "number of sectors"},
      {"hdiutil", {"attach", "-nomount", "ram://"}, 1, "number of sectors"},
      {"hdiutil", {"attach", "-nomount", "/dev/sda"}, 1, "number of sectors"},
      {"hdiutil", {"attach", "-nomount", "ram://18446744073709551616"}, 1, "number of sectors"},
      {"hdiutil", {"attach", "-nomount", "ram://18446744073709551615"}, 1, "No space left"},
      {"hdiutil", {"attach", "-nomount", tooMuch}, 1, "No space left"},
      {"hdiutil", {"detach", "/dev/disk4"}, 1, "there is no /dev/disk4"},
      {"hdiutil", {"detach", "/dev/disk04"}, 1, "not a device node"},
      {"hdiutil", {"detach", "/dev/disk4/../disk5"}, 1, "not a device node"},
      {"newfs_hfs", {"-v", "", "/dev/disk4"}, 1, "path component"},
      {"newfs_hfs", {"-v", "a/b", "/dev/disk4"}, 1, "path component"},
      {"newfs_hfs", {"-v", "..", "/dev/disk4"}, 1, "path component"},
      {"newfs_hfs", {"-v", "a\nuid=0", "/dev/disk4"}, 1, "control characters"},
      {"newfs_hfs", {"-v", "a\xFF", "/dev/disk4"}, 1, "valid UTF-8"},
      {"newfs_hfs", {"-v", std::string(256, 'n'), "/dev/disk4"}, 1, "255 bytes"},
      {"mount", {"/dev/disk4", "/mnt"}, 64, "-t is missing"},
      {"mount", {"-t", "ext4", "/dev/disk4", "/mnt"}, 1, "unknown file system type ext4"},
      {"mount", {"-o", "suid", "-t", "hfs", "/dev/disk4", "/mnt"}, 1, "unknown option suid"},
      {"mount", {"-u", "-o", "suid", "/dev/disk4", "/mnt"}, 1, "either rdonly or rw"},
      {"mount", {"-u", "-o", "rw", "-o", "rdonly", "/dev/disk4", "/mnt"}, 1, "either rdonly or rw"},
      {"mount", {"-u", "-o", "rw", "/dev/disk4", "/mnt"}, 1, "there is no /dev/disk4"},
      {"umount", {"-f", "/"}, 1, "not a mount point of ours"},
      {"umount", {"-f", "/run/.."}, 1, "not a mount point of ours"},
      {"umount", {"-f", "/run"}, 1, "no device is mounted at /run"},
      {"umount", {"-f", scratch.path("missing")}, 1, "no device is mounted"},
      {"diskutil", {"erasevolume", "FAT", "n", "/dev/disk4"}, 1, "unknown format FAT"},
  };
  for (const Refused& refused : cases) {
    const Outcome outcome = tool(refused.applet, refused.words);
    SCOPED_TRACE(refused.applet + ": " + refused.told);
    EXPECT_EQ(outcome.status, refused.status);
    EXPECT_NE(outcome.err.find(refused.told), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_EQ(images(), std::vector<Image>{});
}

TEST(Usage, HelpNamesEveryOptionOfEachApplet) {
  for (const auto& command : disktools::commands()) {
    const Outcome help = program(std::string(command.applet), {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find(command.verb), std::string::npos);
    for (const auto& option : command.options)
      EXPECT_NE(help.out.find(option.name), std::string::npos) << command.title() << option.name;
  }
  const std::string options = program("mount", {"--help"}).out;
  for (const auto& option : disktools::mountOptions())
    EXPECT_NE(options.find(option.name), std::string::npos) << option.name;
}

TEST(Usage, TheProgramsOwnNameTakesTheAppletAsItsFirstArgument) {
  EXPECT_EQ(program("tarnvale-disktools", {"hdiutil", "info"}).status, 0);
  EXPECT_EQ(program("tarnvale-disktools", {}).status, 64);
  EXPECT_EQ(program("tarnvale-disktools", {"sh", "-c", "id"}).status, 64);
}

TEST(MountOptions, OnlyEverTakeRightsAway) {
  const std::pair<Words, std::optional<std::uint64_t>> cases[] = {
      {{}, 0},
      {{"noatime,nobrowse,nosuid,nodev"}, 0},
      {{"noexec"}, MOUNT_ATTR_NOEXEC},
      {{"rdonly,noexec", "noatime"}, MOUNT_ATTR_RDONLY | MOUNT_ATTR_NOEXEC},
      {{"dev"}, {}},
      {{"exec"}, {}},
      {{"noatime,suid"}, {}},
      {{"size=1g"}, {}},
      {{"noatime,"}, {}},
      {{""}, {}},
  };
  constexpr std::uint64_t always = MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV | MOUNT_ATTR_NOATIME;
  for (const auto& [given, added] : cases) {
    auto attributes = disktools::mountAttributes(given);
    ASSERT_EQ(static_cast<bool>(attributes), added.has_value()) << testing::PrintToString(given);
    EXPECT_EQ(attributes ? *attributes : always, always | added.value_or(0));
  }
}

}  // namespace
