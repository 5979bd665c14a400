#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <tuple>

#include "platform/linux/LinuxVolumes.h"
#include "tests/support/Scratch.h"

using namespace platform;

namespace {

class LinuxVolumesTest : public testing::Test {
 protected:
  ~LinuxVolumesTest() override {
    for (auto path = mounted_.rbegin(); path != mounted_.rend(); ++path)
      umount2(path->c_str(), MNT_DETACH);
  }

  void mountMemory(const std::string& path, const std::string& source, const char* options = "") {
    ASSERT_EQ(mount(source.c_str(), path.c_str(), "tmpfs", 0, options), 0) << path;
    mounted_.push_back(path);
  }

  // The sources of what is mounted at a path, in the order of the answer.
  std::string sourcesAt(const std::string& path) const {
    std::string sources;
    const auto mounts = volumes.mounts(10'000);
    for (const Mount& one : mounts ? *mounts : std::vector<Mount>()) {
      if (one.mountedOn == path) sources += one.mountedFrom + " ";
    }
    return sources;
  }

  Scratch scratch;
  LinuxVolumes volumes;

 private:
  std::vector<std::string> mounted_;
};

TEST_F(LinuxVolumesTest, ShowsAllButThePrivateMounts) {
  std::filesystem::create_directory("/run/tarnvale");
  std::filesystem::create_directory("/run/tarnvale-not");
  const std::size_t before = *volumes.mountCount();
  mountMemory("/run/tarnvale", "state");
  std::filesystem::create_directory("/run/tarnvale/disk9");
  mountMemory("/run/tarnvale/disk9", "/dev/disk9");
  EXPECT_EQ(*volumes.mountCount(), before);
  mountMemory("/run/tarnvale-not", "shown");
  mountMemory("/run/tarnvale-not", "above");
  EXPECT_EQ(sourcesAt("/run/tarnvale-not"), "above shown ");
  EXPECT_EQ(volumes.mounts(1)->size(), 1U);
  umount2("/run/tarnvale/disk9", MNT_DETACH);
}

TEST_F(LinuxVolumesTest, TellsVolumesApartAndTheirRoom) {
  const std::string place = scratch.directory("volume");
  mountMemory(place, "/dev/disk7", "size=4m");
  scratch.file("volume/megabyte", std::string(1U << 20U, 'x'));
  ASSERT_EQ(symlink(place.c_str(), scratch.path("link").c_str()), 0);

  const auto attributes = volumes.attributes(place);
  ASSERT_TRUE(attributes);
  EXPECT_EQ(attributes->size, 4U << 20U);
  EXPECT_EQ(attributes->free, 3U << 20U);

  const auto number = [&](const std::string& path) {
    return volumes.fileSystemNumber(scratch.path(path)).value();
  };
  EXPECT_EQ(number("volume/megabyte"), number("link"));
  EXPECT_NE(number("volume"), number(""));
  EXPECT_EQ(*volumes.deviceNumber(place), static_cast<std::int32_t>(*number("volume")));
  EXPECT_TRUE(*volumes.isLocal(place));
  EXPECT_EQ(volumes.volumeIdentifier(*volumes.deviceNumber(place)), std::nullopt);
}

TEST_F(LinuxVolumesTest, NamesThePathThatIsMissing) {
  const std::string missing = scratch.path("missing");
  for (const SystemError& error :
       {volumes.attributes(missing).error(), volumes.fileSystemNumber(missing).error(),
        volumes.deviceNumber(missing).error(), volumes.isLocal(missing).error(),
        volumes.attributeNames(missing).error(), volumes.attribute(missing, "a").error()}) {
    EXPECT_EQ(error.code, ENOENT);
    EXPECT_NE(error.text.find(missing), std::string::npos) << error.text;
  }
}

TEST_F(LinuxVolumesTest, KeepsAttributesOfTheItemItself) {
  const std::string file = scratch.file("file");
  ASSERT_EQ(symlink(file.c_str(), scratch.path("link").c_str()), 0);
  const std::string value("a\0b", 3);
  ASSERT_TRUE(volumes.setAttribute(file, "com.example.one", value));
  ASSERT_TRUE(volumes.setAttribute(file, "empty", ""));
  EXPECT_EQ(*volumes.attribute(file, "com.example.one"), value);
  EXPECT_EQ(*volumes.attribute(file, "empty"), "");
  EXPECT_EQ(getxattr(file.c_str(), "user.com.example.one", nullptr, 0), 3);
  auto names = *volumes.attributeNames(file);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"user.com.example.one", "user.empty"}));

  EXPECT_EQ(volumes.attribute(scratch.path("link"), "empty").error().domain, "POSIX");
  EXPECT_FALSE(volumes.setAttribute(scratch.path("link"), "empty", "x"));
  EXPECT_TRUE(volumes.removeAttribute(file, "empty"));
  EXPECT_EQ(volumes.removeAttribute(file, "empty").error().code, ENODATA);
  EXPECT_EQ(volumes.attribute(file, "empty").error().code, ENODATA);
}

TEST_F(LinuxVolumesTest, KnowsWhatLiesOnAnotherMachine) {
  constexpr std::uint64_t kFuse = 0x65735546;
  const std::tuple<std::uint64_t, const char*, bool> cases[] = {
      {0x6969, "", true},          {0xFF534D42, "", true},        {0xEF53, "", false},
      {0x01021994, "", false},     {kFuse, "fuseblk", false},     {kFuse, "fuse", false},
      {kFuse, "fuse.sshfs", true}, {kFuse, "fuse.bindfs", false}, {0xEF53, "fuse.sshfs", false}};
  for (const auto& [magic, name, isRemote] : cases)
    EXPECT_EQ(isRemoteType(magic, name), isRemote) << magic << name;
  EXPECT_TRUE(*volumes.isLocal("/proc"));
}

}  // namespace
