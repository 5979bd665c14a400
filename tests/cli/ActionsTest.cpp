// The actions as verbs, on real mounts. The tools are scripts: a device is a file in "devices", its
// volume a file system in memory that goes with the mount.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <regex>

#include "tests/cli/Shell.h"

namespace {

constexpr char kAttacher[] = R"(#!/bin/sh
cd '%' || exit 1
entity() {
  point=$(sed -n "s|^/dev/$1 \([^ ]*\) .*|\1|p" /proc/self/mounts)
  echo "<key>system-entities</key><array><dict><key>dev-entry</key><string>/dev/$1</string>"
  [ -n "$point" ] && echo "<key>mount-point</key><string>$point</string>"
  echo "</dict></array>"
}
case $1 in
attach)
  if [ -e full ]; then echo 'no memory left' >&2; exit 1; fi
  if [ -e interrupts ]; then kill -INT $PPID; fi
  n=1; while [ -e devices/disk$n ]; do n=$((n + 1)); done
  touch devices/disk$n
  echo "<plist><dict>$(entity disk$n)</dict></plist>" ;;
info)
  echo '<plist><dict><key>images</key><array>'
  for d in $(ls devices); do
    echo "<dict><key>image-path</key><string>ram://1</string>$(entity $d)</dict>"
  done
  echo '</array></dict></plist>' ;;
detach) rm devices/${2#/dev/} ;;
esac
)";

constexpr char kFormatter[] =
    "#!/bin/sh\necho 'Initialized /dev/rdisk1 as a 128 MB HFS Plus volume'\n";

constexpr char kMounter[] = R"(#!/bin/sh
case $1$3 in
-urdonly) exec mount -o remount,bind,ro "$5" ;;
-urw) exec mount -o remount,bind,rw "$5" ;;
esac
while [ $# -gt 2 ]; do shift; done
exec mount -t tmpfs -o size=128m "$1" "$2"
)";

class Actions : public testing::Test {
 protected:
  Actions() {
    scratch().directory("devices");
    std::string attacher = kAttacher;
    attacher.replace(attacher.find('%'), 1, scratch().path());
    auto& tools = shell.doubles.places->tools;
    tools[platform::Tool::Attacher] = scratch().executable("tools/attach", attacher);
    tools[platform::Tool::Formatter] = scratch().executable("tools/format", kFormatter);
    tools[platform::Tool::Mounter] = scratch().executable("tools/mount", kMounter);
    tools[platform::Tool::Unmounter] = "/usr/bin/umount";
  }

  ~Actions() override {
    for (const char* name : {"one", "two"}) umount2(path(name).c_str(), MNT_DETACH);
  }

  const Scratch& scratch() const { return shell.scratch; }
  std::string path(const std::string& name) const { return scratch().path("desk/" + name); }

  // Disks over directories with one file each.
  void addDisks() {
    for (const std::string name : {"one", "two"}) {
      scratch().file("desk/" + name + "/file", "of " + name);
      ASSERT_EQ(shell.run({"add", "~~/desk/" + name, "--size", "128M"}).status, 0);
    }
  }

  // A command's outcome, with "T" for every time.
  Outcome run(std::vector<std::string> args, const std::string& input = {}, bool asked = false) {
    auto outcome = shell.run(std::move(args), input, asked);
    outcome.out = std::regex_replace(outcome.out, std::regex(R"(in \d+\.\d\d s)"), "in T");
    return outcome;
  }

  std::string refusal(std::vector<std::string> args, int status) {
    const auto outcome = run(std::move(args));
    EXPECT_EQ(outcome.status, status) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    return outcome.err;
  }

  std::vector<std::string> statuses() { return valuesOf(run({"list", "--json"}).out, "status"); }

  Shell shell;
};

constexpr char kMounted[] = R"("mounted")";
constexpr char kNotCreated[] = R"("notCreated")";
constexpr char kCreated[] = R"("created")";

using Statuses = std::vector<std::string>;

TEST_F(Actions, RunOneAfterTheOtherAndSaveTheirState) {
  addDisks();
  const auto created = [](const std::string& name) {
    std::string stages;
    for (const char* stage :
         {"creating", "creatingCalculatingBaseDirSize", "creating", "creatingNewFileSystem",
          "creatingMoutingVolume", "creatingRecopingFromBase"})
      stages += name + ": QVRamDiskActionInfo_" + stage + "\n";
    return stages + name + ": mounted at ~~/desk/" + name + " (134 MB, 0 % used) in T\n";
  };
  EXPECT_EQ(run({"create", "two", "one"}).out, created("two") + created("one"));
  EXPECT_EQ(statuses(), (Statuses{kMounted, kMounted}));
  EXPECT_EQ(valuesOf(run({"list", "--json"}).out, "deviceNode"),
            (Statuses{R"("/dev/disk2")", R"("/dev/disk1")"}));
  EXPECT_EQ(readFile(path("one/file")), "of one");

  EXPECT_EQ(run({"--quiet", "sync", "one"}).out, "");
  EXPECT_EQ(readFile(path("one (Tarnvale Backup Base)/file")), "of one");
  EXPECT_EQ(run({"rebuild", "one"}).out,
            "one: QVRamDiskActionInfo_copyingToBase\n"
            "one: QVRamDiskActionInfo_ejecting\n"
            "one: QVRamDiskActionInfo_creatingCalculatingBaseDirSize\n"
            "one: QVRamDiskActionInfo_creating\n"
            "one: QVRamDiskActionInfo_creatingNewFileSystem\n"
            "one: QVRamDiskActionInfo_creatingMoutingVolume\n"
            "one: QVRamDiskActionInfo_creatingRecopingFromBase\n"
            "one: rebuilt, mounted at ~~/desk/one (134 MB, 0 % used) in T\n");
  EXPECT_EQ(readFile(path("one/file")), "of one");

  scratch().file("desk/one/new", "written in memory");
  EXPECT_EQ(run({"eject", "--all"}).status, 0);
  EXPECT_EQ(readFile(path("one/new")), "written in memory");
  EXPECT_EQ(statuses(), (Statuses{kNotCreated, kNotCreated}));
  EXPECT_TRUE(std::filesystem::is_empty(scratch().path("devices")));
  EXPECT_EQ(shell.doubles.notifications->posted.size(), 2U + 2U + 1U + 1U + 2U);
}

TEST_F(Actions, AFailureIsExplainedAndTheOthersGoOn) {
  addDisks();
  scratch().file("full");
  const auto failed = run({"create", "one", "two"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.err,
            "tarnvale: one: Unable to create RamDisk (no memory left)\n"
            "tarnvale: two: Unable to create RamDisk (no memory left)\n");
  EXPECT_EQ(readFile(path("one/file")), "of one") << "it is back already";
  std::filesystem::remove(scratch().path("full"));
  ASSERT_EQ(shell.run({"set", "one", "--size", "256M"}).status, 0);
  EXPECT_EQ(run({"create", "--all"}).status, 0);
  EXPECT_EQ(readFile(path("one/file")), "of one");
}

TEST_F(Actions, AreRefusedInTheWrongState) {
  addDisks();
  expectEachRefused(shell, {"remount one", "rebuild one", "sync one", "clean one"},
                    "one is not created; 'tarnvale create' makes it");
  expectRefused(shell, R"(
1 eject one => one is not created; there is nothing to eject
1 backup one => one has no backup folder; 'tarnvale set one --backup support' gives it one
)");
  for (const char* verb : {"eject", "remount", "rebuild", "sync", "backup", "clean"})
    EXPECT_EQ(refusal({verb, "--all"}, 0), "") << verb;

  ASSERT_EQ(run({"create", "one"}).status, 0);
  expectRefused(shell, R"(
1 create one => one is already mounted at ~~/desk/one; 'tarnvale rebuild' makes it anew
4 set one --name x => one is created; its kind, name, directory, size and format, and whether it is kept in its base, cannot change now; eject it first with 'tarnvale eject'
4 set one --size 256M => one is created; its kind, name, directory, size and format, and whether it is kept in its base, cannot change now; eject it first with 'tarnvale eject'
4 set one --backup none => one is created; its kind, name, directory, size and format, and whether it is kept in its base, cannot change now; eject it first with 'tarnvale eject'
4 set one --backup-dir ~~/desk => one is created; its kind, name, directory, size and format, and whether it is kept in its base, cannot change now; eject it first with 'tarnvale eject'
4 remove one => one is created; eject it first with 'tarnvale eject'
)");
  EXPECT_EQ(statuses(), (Statuses{kMounted, kNotCreated}));
}

TEST_F(Actions, ADiskUnmountedBySomebodyElseKeepsItsDevice) {
  addDisks();
  ASSERT_EQ(run({"create", "one"}).status, 0);
  ASSERT_EQ(umount(path("one").c_str()), 0);
  EXPECT_EQ(statuses(), (Statuses{kCreated, kNotCreated}));
  EXPECT_EQ(refusal({"eject", "one"}, 4),
            "tarnvale: one is not mounted, so that its contents could not be saved; mount it first "
            "with 'tarnvale remount'\n");
  // The volume went with the mount, and the one that is there now is nobody's.
  EXPECT_EQ(run({"remount", "one"}).err,
            "tarnvale: one: Unable to mount disk; the device holds another volume; 'tarnvale "
            "create one' makes the disk anew\n");
  EXPECT_EQ(statuses(), (Statuses{kNotCreated, kNotCreated}));
}

TEST_F(Actions, CleaningAsksFirst) {
  addDisks();
  ASSERT_EQ(run({"create", "one"}).status, 0);
  EXPECT_EQ(refusal({"clean", "one"}, 2),
            "tarnvale: deleting the contents of one needs a confirmation; add --yes\n");
  EXPECT_EQ(run({"clean", "one"}, "no\n", true).status, 1);
  EXPECT_EQ(readFile(path("one/file")), "of one");
  EXPECT_EQ(run({"clean", "--all"}, "y\n", true).out,
            "one: QVRamDiskActionInfo_cleanUpFiles\none: emptied (0 % used; what "
            "was saved last is in ~~/desk/one (Tarnvale Backup Base) until the next save) in T\n")
      << "the disk that is not mounted is no matter";
  EXPECT_TRUE(std::filesystem::is_empty(path("one")));
}

TEST_F(Actions, AnInterruptionWaitsForTheRunningDisk) {
  addDisks();
  scratch().file("interrupts");
  const auto outcome = run({"create", "--all"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.out.find("one: mounted at ~~/desk/one"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.err.find("tarnvale: interrupted before two; it was left as it is\n"),
            std::string::npos)
      << outcome.err;
  EXPECT_EQ(statuses(), (Statuses{kMounted, kNotCreated}));
  EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_DFL) << "handlers are put back";
}

// A shell that was left in a folder of the disk has nothing open there.
TEST_F(Actions, ADiskInUseIsEjectedOnlyByForce) {
  addDisks();
  ASSERT_EQ(run({"create", "--all"}).status, 0);
  std::array<int, 2> started{};
  ASSERT_EQ(pipe2(started.data(), O_CLOEXEC), 0);
  const pid_t child = fork();
  if (child == 0) {
    if (chdir(path("one").c_str()) == 0) execl("/bin/sleep", "sleep", "1000", nullptr);
    _exit(1);
  }
  close(started[1]);
  char none = 0;
  ASSERT_EQ(read(started[0], &none, 1), 0) << "closed as it begins";
  close(started[0]);
  const std::string inUse = "tarnvale: one is in use by sleep (" + std::to_string(child) +
                            "); close what uses it and leave its folders, or go on with --force\n";
  EXPECT_EQ(refusal({"eject", "one"}, 4), inUse);
  EXPECT_EQ(refusal({"rebuild", "one"}, 4), inUse);
  const auto all = run({"--quiet", "eject", "--all"});
  EXPECT_EQ(all.status, 4);
  EXPECT_EQ(all.err, inUse);
  EXPECT_EQ(statuses(), (Statuses{kMounted, kNotCreated}));
  EXPECT_EQ(run({"sync", "one"}).status, 0) << "what unmounts nothing disturbs nobody";

  shell.doubles.places->tools[platform::Tool::Unmounter] =
      scratch().executable("tools/unmount", "#!/bin/sh\nexec umount -l \"$2\"\n");
  EXPECT_EQ(run({"rebuild", "one", "--force"}).status, 0);
  EXPECT_EQ(run({"eject", "one"}).status, 0) << "it works in a volume that is gone";
  EXPECT_EQ(readFile(path("one/file")), "of one");
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST_F(Actions, OtherProgramsMayChangeTheRegistryMeanwhile) {
  addDisks();
  const std::string attacher = shell.doubles.places->tools[platform::Tool::Attacher];
  const std::string other = scratch().path("other");
  // While the first disk is created somebody else saves a list in which the second is gone.
  const std::string before = shell.registry();
  ASSERT_EQ(shell.run({"remove", "two"}).status, 0);
  scratch().file("other", shell.registry());
  scratch().file("home/support/com.tarnvale.Tarnvale/RamDiskEntries", before);
  shell.doubles.places->tools[platform::Tool::Attacher] = scratch().executable(
      "tools/attach2", "#!/bin/sh\n[ \"$1\" = attach ] && cp '" + other + "' '" +
                           shell.registryPath() + "'\nexec '" + attacher + "' \"$@\"\n");
  const auto outcome = run({"create", "one", "two"});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.err, "tarnvale: two was removed meanwhile\n");
  EXPECT_EQ(statuses(), (Statuses{kMounted}));
}

}  // namespace
