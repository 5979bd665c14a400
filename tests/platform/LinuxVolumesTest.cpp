// Real volumes, and real processes that use them.

#include <sched.h>
#include <sys/mman.h>
#include <sys/xattr.h>

#include "leaf/Descriptor.h"
#include "platform/linux/LinuxVolumes.h"
#include "platform/linux/VolumeUse.h"
#include "tests/support/Companion.h"
#include "tests/support/OtherProgram.h"
#include "tests/support/Test.h"

using namespace platform;

namespace {

// A program that did something and holds on to it until it is ended.
class Child : public OtherProgram {
 public:
  explicit Child(const std::function<bool()>& act)
      : OtherProgram([&](const OtherProgram& self) {
          if (!act()) return false;
          self.tell();
          return hang();
        }) {
    EXPECT_TRUE(waitUntilTold()) << "the child could not do its part";
  }
};

bool holds(const std::string& path, int flags) { return open(path.c_str(), flags, 0600) >= 0; }

// The descriptor is closed again: the mapping is all that is left.
bool maps(const std::string& path, int openFlags, int protection, int flags) {
  const Descriptor file(open(path.c_str(), openFlags));
  return mmap(nullptr, 4096, protection, flags, file.get(), 0) != MAP_FAILED;
}

std::uint64_t inodeOf(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
  return info.st_ino;
}

class LinuxVolumeUse : public testing::Test {
 protected:
  LinuxVolumeUse() {
    EXPECT_EQ(mount("/dev/disk7", volume.c_str(), "tmpfs", 0, nullptr), 0);
    file = scratch.file("volume (deleted) x/a file", std::string(4096, 'x'));
  }

  Scratch scratch;
  // Blanks and the words that the kernel puts behind the name of a deleted file.
  std::string volume = scratch.directory("volume (deleted) x");
  std::string file;
};

constexpr int kReadWrite = PROT_READ | PROT_WRITE;

TEST_F(LinuxVolumeUse, TellsHowEachProgramUsesTheVolume) {
  const std::string bound = scratch.directory("bound");
  const struct {
    const char* title;
    std::function<bool()> act;
    bool writing = false;
    bool mapped = false;
  } cases[] = {
      {"reading", [&] { return holds(file, O_RDONLY); }},
      {"writing", [&] { return holds(file, O_WRONLY | O_APPEND); }, true},
      {"both", [&] { return holds(file, O_RDWR) && holds(volume, O_RDONLY); }, true},
      {"path only", [&] { return holds(volume, O_PATH); }},
      {"private mapping", [&] { return maps(file, O_RDONLY, kReadWrite, MAP_PRIVATE); }},
      {"shared, reading", [&] { return maps(file, O_RDONLY, PROT_READ, MAP_SHARED); }},
      {"shared, writing", [&] { return maps(file, O_RDWR, kReadWrite, MAP_SHARED); }, true, true},
      {"writing, by another mount",
       [&] {
         return mount(volume.c_str(), bound.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                holds(bound + "/a file", O_WRONLY);
       },
       true},
      {"working directory", [&] { return chdir(volume.c_str()) == 0; }},
      {"root directory", [&] { return chroot(volume.c_str()) == 0; }},
      {"deleted file",
       [&] {
         return holds(volume + "/d", O_RDWR | O_CREAT) && unlink((volume + "/d").c_str()) == 0;
       },
       true},
      {"deleted directory",
       [&] {
         const std::string path = volume + "/gone";
         return mkdir(path.c_str(), 0700) == 0 && chdir(path.c_str()) == 0 &&
                rmdir(path.c_str()) == 0;
       }},
      {"file without a name", [&] { return holds(volume, O_TMPFILE | O_RDWR); }, true},
      {"opened, then a namespace of its own",
       [&] { return holds(file, O_WRONLY) && unshare(CLONE_NEWNS) == 0; }, true},
      {"a namespace of its own", [&] { return unshare(CLONE_NEWNS) == 0 && holds(file, O_WRONLY); },
       true},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.title);
    const Child child(test.act);
    const VolumeUse use = volumeUse(volume);
    ASSERT_EQ(use.users.size(), 1U);
    EXPECT_EQ(use.users[0].processIdentifier, child.number());
    EXPECT_EQ(use.users[0].writing, test.writing);
    EXPECT_EQ(use.users[0].name, "test_platform");
    EXPECT_EQ(use.mappedInodes, test.mapped ? std::vector<std::uint64_t>{inodeOf(file)}
                                            : std::vector<std::uint64_t>());
  }
  EXPECT_TRUE(volumeUse(volume).users.empty()) << "all have ended";
}

TEST_F(LinuxVolumeUse, PassesOverWhatIsNotOnTheVolume) {
  const std::string other = scratch.directory("volume (deleted) x2");
  const std::string inside = scratch.directory("volume (deleted) x/mounted");
  ASSERT_EQ(mount("other", other.c_str(), "tmpfs", 0, nullptr), 0);
  ASSERT_EQ(mount("inside", inside.c_str(), "tmpfs", 0, nullptr), 0);
  const std::string fooling = scratch.file("volume (deleted) x2/a 00:00 b");
  const Child child([&] {
    return holds(other + "/f", O_RDWR | O_CREAT) && holds(inside + "/f", O_RDWR | O_CREAT) &&
           chdir(inside.c_str()) == 0 && maps(fooling, O_RDWR, kReadWrite, MAP_SHARED);
  });
  EXPECT_EQ(volumeUse(volume).users, std::vector<VolumeUser>({{0, inside, false}}));
  EXPECT_TRUE(volumeUse(volume).mappedInodes.empty());
  EXPECT_EQ(volumeUse(inside).users.size(), 1U);
  EXPECT_EQ(volumeUse(other).users.size(), 1U);
}

// What a volume covers is not on it, though the kernel tells the same paths.
TEST_F(LinuxVolumeUse, PassesOverWhatTheVolumeCovers) {
  const Child below([&] { return holds(file, O_WRONLY) && chdir(volume.c_str()) == 0; });
  ASSERT_EQ(mount("upper", volume.c_str(), "tmpfs", 0, nullptr), 0);
  EXPECT_TRUE(volumeUse(volume).users.empty());
  const Child above([&] { return chdir(volume.c_str()) == 0; });
  ASSERT_EQ(volumeUse(volume).users.size(), 1U);
  EXPECT_EQ(volumeUse(volume).users[0].processIdentifier, above.number());
}

TEST_F(LinuxVolumeUse, CountsItsOwnMappingsAndNotItself) {
  const Descriptor own(open(file.c_str(), O_RDWR));
  void* const address = mmap(nullptr, 4096, kReadWrite, MAP_SHARED, own.get(), 0);
  ASSERT_NE(address, MAP_FAILED);
  const std::string second = scratch.file("volume (deleted) x/second", std::string(4096, 'x'));
  const Child child([&] { return maps(second, O_RDWR, kReadWrite, MAP_SHARED); });
  const VolumeUse use = volumeUse(volume);
  // The child has the mapping of its parent as well; each inode is told once.
  EXPECT_EQ(use.users.size(), 1U);
  std::vector<std::uint64_t> inodes = {inodeOf(file), inodeOf(second)};
  std::sort(inodes.begin(), inodes.end());
  EXPECT_EQ(use.mappedInodes, inodes);
  munmap(address, 4096);
}

TEST_F(LinuxVolumeUse, ShowsANameInFull) {
  ASSERT_EQ(mkfifo(scratch.path("never").c_str(), 0600), 0);
  const std::string program = scratch.path("a-program-with-a-long-name");
  std::filesystem::copy_file("/bin/sleep", program);
  const std::string script = scratch.executable(
      "a-script-with-a-long-name", "#!/bin/sh\nread -r line <'" + scratch.path("never") + "'\n");
  for (const std::string& path : {program, script}) {
    const Companion user({"env", "--chdir=" + volume, path, "1000"});
    const std::string name = path.substr(path.rfind('/') + 1);
    std::string found;
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (found != name && std::chrono::steady_clock::now() < end) {
      const auto users = volumeUse(volume).users;
      found = users.empty() ? "" : users[0].name;
    }
    EXPECT_EQ(found, name);
  }
}

TEST_F(LinuxVolumeUse, TakesProcessesThatEndMeanwhile) {
  for (int round = 0; round < 30; ++round) {
    const pid_t child = fork();
    if (child == 0) _exit(holds(file, O_WRONLY) ? 0 : 1);
    for (const VolumeUser& user : volumeUse(volume).users) EXPECT_EQ(user.processIdentifier, child);
    waitpid(child, nullptr, 0);
  }
}

TEST_F(LinuxVolumeUse, SaysNothingWhereNoVolumeIsMounted) {
  const std::string ordinary = scratch.directory("ordinary");
  const Child child([&] { return chdir(ordinary.c_str()) == 0; });
  for (const std::string& path : {ordinary, scratch.path("missing"), std::string()})
    EXPECT_EQ(volumeUse(path).users, std::vector<VolumeUser>()) << path;
}

class LinuxVolumesTest : public testing::Test {
 protected:
  void mountMemory(const std::string& path, const std::string& source, const char* options = "") {
    ASSERT_EQ(mount(source.c_str(), path.c_str(), "tmpfs", 0, options), 0) << path;
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
  for (const char* each : {"tarnvale/disk9", "tarnvale", "tarnvale-not", "tarnvale-not"})
    umount2((std::string("/run/") + each).c_str(), MNT_DETACH);
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
