#include <gtest/gtest.h>

#include "leaf/DeviceNames.h"
#include "leaf/MountTable.h"

namespace {

std::string shown(std::string_view table) {
  std::string text;
  for (const MountLine& line : parseMountTable(table))
    text += std::string(line.type) + " " + withoutMountEscapes(line.source) + " " +
            withoutMountEscapes(line.mountedOn) + " " + std::string(line.device) + " " +
            withoutMountEscapes(line.root) + "\n";
  return text;
}

}  // namespace

TEST(MountTable, ReadsEveryFormOfLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"36 35 98:0 / /mnt rw - ext3 /dev/root rw,errors=continue\n",
       "ext3 /dev/root /mnt 98:0 /\n"},
      {"36 35 98:0 /a\\040b /mnt rw master:1 shared:2 - ext3 /dev/root rw\n",
       "ext3 /dev/root /mnt 98:0 /a b\n"},
      {"36 35 0:9 / /a\\040b\\011c\\012d\\134e rw - tmpfs /dev/disk4 rw\n",
       "tmpfs /dev/disk4 /a b\tc\nd\\e 0:9 /\n"},
      {"36 35 0:9 / /a\\04 rw - tmpfs x\\0400 rw", "tmpfs x 0 /a\\04 0:9 /\n"},
      {"36 35 0:9 / /- rw - tmpfs - rw\n", "tmpfs - /- 0:9 /\n"},
      {"36 35 0:9 / /mnt rw - tmpfs  rw\n", "tmpfs  /mnt 0:9 /\n"},
      {"36 35 0:9 net:[4026532281] /run/ns rw - nsfs nsfs rw\n",
       "nsfs nsfs /run/ns 0:9 net:[4026532281]\n"},
      {"36 35 0:9 / /mnt rw shared:1\n", ""},
      {"36 35 0:9 / /mnt rw -\n", ""},
      {"36 35 0:9 / mnt rw - tmpfs x rw\n", ""},
      {"x 35 0:9 / /mnt rw - tmpfs x rw\n", ""},
      {"\n\n36\n", ""},
  };
  for (const auto& [line, expected] : cases) EXPECT_EQ(shown(line), expected) << line;
}

// Mounts 3 and 2 lie on one another at /m in spite of their order, 5 covers all of them from above.
TEST(MountTable, PutsTheVisibleMountOfAPathFirst) {
  const auto lines =
      visibleFirst(parseMountTable("1 0 8:1 / / rw - ext4 /dev/a rw\n"
                                   "2 3 0:2 / /m rw - tmpfs second rw\n"
                                   "3 1 0:3 / /m rw - tmpfs first rw\n"
                                   "4 1 0:4 / /n rw - tmpfs other rw\n"
                                   "5 2 0:5 / /m rw - tmpfs third rw\n"));
  std::string atM;
  for (const auto& line : lines) {
    if (line.mountedOn == "/m") atM += std::string(line.source) + " ";
  }
  EXPECT_EQ(atM, "third second first ");
  EXPECT_EQ(lines.size(), 5U);
}

// Nothing in a table that claims to be its own ground may keep the reader busy for ever.
TEST(MountTable, EndsOnCircles) {
  EXPECT_EQ(
      visibleFirst(parseMountTable("1 2 0:1 / /m rw - t a rw\n2 1 0:2 / /m rw - t b rw\n")).size(),
      2U);
  EXPECT_EQ(visibleFirst(parseMountTable("7 7 0:1 / /m rw - t a rw\n")).size(), 1U);
}

TEST(MountTable, KnowsTheNodeThatALoopDeviceStandsFor) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"/memfd:tarnvale-disk4 (deleted)\n", "/dev/disk4"},
      {"/memfd:tarnvale-disk12 (deleted)", "/dev/disk12"},
      {"/memfd:tarnvale-disk (deleted)", std::nullopt},
      {"/memfd:tarnvale-disk4x (deleted)", std::nullopt},
      {"/memfd:other-disk4 (deleted)", std::nullopt},
      {"/home/u/memfd:tarnvale-disk4", std::nullopt},
      {"/memfd:tarnvale-disk4", std::nullopt}};
  for (const auto& [name, node] : cases) EXPECT_EQ(nodeOfBackingFile(name), node) << name;
}
