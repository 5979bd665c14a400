#include "tests/endtoend/CommandLineTest.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <regex>

#include "leaf/Descriptor.h"
#include "tests/support/OtherProgram.h"

namespace {

TEST_F(CommandLineTest, EveryActionWorksOnABaseModeDisk) {
  scratch.file("home/desk/cache/old", "old");
  done("add '" + folder + "' --size 200M");
  EXPECT_TRUE(holds(done("create cache"), "cache: mounted at " + folder));
  EXPECT_TRUE(isMounted(folder));
  EXPECT_EQ(readFile(folder + "/old"), "old");
  scratch.file("home/desk/cache/new", "new");
  done("sync cache");
  EXPECT_EQ(readFile(saved + "/new"), "new");
  done("rebuild cache");
  EXPECT_EQ(readFile(folder + "/new"), "new");
  ASSERT_EQ(umount2(folder.c_str(), 0), 0);
  EXPECT_TRUE(holds(done("list --json"), "\"status\": \"created\""));
  done("remount cache");
  EXPECT_EQ(readFile(folder + "/new"), "new");
  EXPECT_TRUE(holds(done("clean cache --yes"), "saved last is in " + saved));
  EXPECT_TRUE(fs::is_empty(folder));
  EXPECT_EQ(readFile(saved + "/new"), "new");
  scratch.file("home/desk/cache/last", "last");
  done("eject cache");
  EXPECT_FALSE(isMounted(folder));
  EXPECT_EQ(readFile(folder + "/last"), "last");
  EXPECT_FALSE(fs::exists(folder + "/old"));
  EXPECT_FALSE(fs::exists(saved));
  EXPECT_FALSE(holds(readFile("/proc/self/mountinfo"), "/run/tarnvale/disk"));
}

TEST_F(CommandLineTest, ProgramsThatChangeTheListTogetherLoseNothing) {
  const std::string plain = " --size 200M --directory '" + home + "/desk'";
  done("add --name shared" + plain);
  const auto addsAndRemoves = [&](const std::string& name) {
    return [name, plain](OtherProgram&) {
      int failures = 0;
      for (int round = 0; round < 8; ++round) {
        const std::string disk = name + std::to_string(round);
        failures += run("add --name " + disk + plain).status;
        failures += run("set " + disk + " --size 300M").status;
        if (round > 0) failures += run("remove " + name + std::to_string(round - 1)).status;
      }
      return failures == 0;
    };
  };
  OtherProgram one(addsAndRemoves("one"));
  OtherProgram two(addsAndRemoves("two"));
  for (const char* change : {"session-save off", "menu-bar on", "set shared --size 400M",
                             "menu-bar --at-login", "move shared 1", "set shared --at-login"})
    done(change);
  EXPECT_TRUE(one.ended() && two.ended());
  EXPECT_EQ(done("session-save"), "saving at the session's end off\n");
  EXPECT_EQ(done("menu-bar"), "menu bar on, at login on\n");
  const std::string list = done("list --json");
  std::size_t disks = 0;
  for (auto at = list.find("\"name\""); at != std::string::npos; at = list.find("\"name\"", at + 1))
    ++disks;
  EXPECT_EQ(disks, 3U) << list;
  const std::string facts = done("show shared one7 two7");
  for (const char* fact : {"400 MB", "300 MB"}) EXPECT_TRUE(holds(facts, fact)) << facts;
}

// The action ends with the list as it was when it began; only what it did is saved.
TEST_F(CommandLineTest, WhatIsChangedWhileADiskIsCreatedStays) {
  const std::string program(TARNVALE_PROGRAM);
  const std::string told = scratch.path("told");
  const std::string command = scratch.executable(
      "post", "#!/bin/sh\n" + program + " set cache --at-login\n" + program +
                  " session-save off\n{ " + program + " set cache --name other; " + program +
                  " remove cache --yes; } 2> '" + told + "'\ntrue\n");
  done("add '" + folder + "' --size 200M --post-command '" + command + "'");
  done("create cache");
  const std::regex refused(
      "(tarnvale: another program is working on cache \\(tarnvale, process [0-9]+, since "
      "[0-9]{2}:[0-9]{2}:[0-9]{2}: Creating.*\\); try again when it is done\n){2}");
  EXPECT_TRUE(std::regex_match(readFile(told), refused)) << readFile(told);
  EXPECT_TRUE(holds(done("show cache --json"), "\"createAtLogin\": true"));
  EXPECT_TRUE(holds(done("list --json"), "\"status\": \"mounted\""));
  EXPECT_EQ(done("session-save"), "saving at the session's end off\n");
}

// The volume was unmounted, and nobody put the directory back: as after an eject that was cut off.
TEST_F(CommandLineTest, WhatACutOffActionLeftIsPutRight) {
  scratch.file("home/desk/cache/old", "old");
  done("add '" + folder + "' --size 200M");
  done("create cache");
  EXPECT_EQ(done("recover --all"), "cache: nothing to put right\n");
  scratch.file("home/desk/cache/new", "new");
  ASSERT_EQ(umount2(folder.c_str(), 0), 0);

  const std::string told = done("recover cache --dry-run");
  EXPECT_TRUE(holds(told, "cache: the device /dev/disk")) << told;
  EXPECT_TRUE(holds(told, "this was a dry run, nothing was changed\n"));
  EXPECT_FALSE(fs::exists(folder + "/new"));
  EXPECT_TRUE(holds(done("recover cache --dry-run --json"), "\"step\": \"finishEject\""));
  EXPECT_TRUE(holds(done("recover cache"), "saved and ejected\n"));
  EXPECT_EQ(readFile(folder + "/new"), "new");
  EXPECT_EQ(done("recover cache"), "cache: nothing to put right\n");
  EXPECT_TRUE(holds(done("list --json"), "\"status\": \"notCreated\""));
}

TEST_F(CommandLineTest, AnActionPutsRightWhatAnotherLeft) {
  scratch.file("home/desk/cache/old", "old");
  done("add '" + folder + "' --size 200M");
  done("create cache");
  scratch.file("home/desk/cache/new", "new");
  ASSERT_EQ(umount2(folder.c_str(), 0), 0);
  EXPECT_EQ(run("eject cache").status, 4) << "a remount is what it waits for";
  done("remount cache");
  ASSERT_EQ(umount2(folder.c_str(), 0), 0);
  EXPECT_TRUE(holds(done("create cache"), "is attached and not mounted"));
  EXPECT_EQ(readFile(folder + "/new"), "new");

  // A registry of before the creation does not know that the disk is mounted.
  const std::string file = "home/.local/share/com.tarnvale.Tarnvale/RamDiskEntries";
  done("eject cache");
  const std::string unknown = registry();
  done("create cache");
  scratch.file(file, unknown);
  const Ran again = run("create cache");
  EXPECT_EQ(again.status, 1);
  EXPECT_TRUE(holds(again.output, "cache is already mounted")) << again.output;
  done("sync cache");
}

// In a shell below "unshare -m", or in a container, that was there before the disk, and in one that
// came after it and has copies of its mounts.
TEST_F(CommandLineTest, AnotherMountNamespaceTakesNothingAway) {
  const std::string told = scratch.path("told");
  const std::string goesOn = scratch.path("goes on");
  ASSERT_EQ(mkfifo(goesOn.c_str(), 0600), 0);
  scratch.file("home/desk/cache/old", "old");
  done("add '" + folder + "' --size 200M");
  const std::string program(TARNVALE_PROGRAM);
  const std::string script = scratch.executable(
      "script", "#!/bin/sh\necho > '" + goesOn + "'\nread line < '" + goesOn + "'\n" + program +
                    " list\n" + program + " recover cache\n! " + program + " create cache\n");
  OtherProgram before([&](OtherProgram&) {
    return std::system(("timeout 60 unshare -m '" + script + "' >'" + told + "' 2>&1").c_str()) ==
           0;
  });
  EXPECT_EQ(readFile(goesOn), "\n") << "it has its namespace";
  done("create cache");
  scratch.file("home/desk/cache/new", "new");
  std::ofstream(goesOn) << "go\n";
  EXPECT_TRUE(before.ended());
  EXPECT_TRUE(holds(readFile(told), "another mount namespace")) << readFile(told);
  ASSERT_TRUE(isMounted(folder));
  EXPECT_TRUE(holds(done("list --json"), "\"status\": \"mounted\"")) << "whatever was saved there";
  for (const char* verb : {" eject", " eject --force", " rebuild"})
    EXPECT_NE(std::system(("unshare -m " + program + verb + " cache 2>/dev/null").c_str()), 0)
        << verb;
  ASSERT_TRUE(isMounted(folder));
  scratch.file("home/desk/cache/newer", "newer");
  done("eject cache");
  EXPECT_EQ(readFile(folder + "/old") + readFile(folder + "/new") + readFile(folder + "/newer"),
            "oldnewnewer");
}

// The program that acts on the disk knows its state, who is refused does not. A disk that waits to
// be mounted is left to the action, which is where the other is met.
TEST_F(CommandLineTest, WhoIsRefusedSavesNothingOfTheDisk) {
  done("add '" + folder + "' --size 200M --backup none");
  done("create cache");
  ASSERT_EQ(umount2(folder.c_str(), 0), 0);
  const fs::path support = home + "/.local/share/com.tarnvale.Tarnvale";
  const auto file = fs::directory_iterator(support / "Locks")->path();
  const int theirs = open(file.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(theirs, LOCK_EX | LOCK_NB), 0);
  const auto before = fs::last_write_time(support / "RamDiskEntries");
  for (const char* action : {"remount cache", "eject cache"}) {
    const Ran ran = run(action);
    EXPECT_EQ(ran.status, 1) << action;
    EXPECT_TRUE(
        holds(ran.output,
              "nother program is working on this RamDisk (a program that does not give its name)"))
        << ran.output;
    EXPECT_EQ(fs::last_write_time(support / "RamDiskEntries"), before) << action;
  }
  close(theirs);
  done("remount cache");
  EXPECT_NE(fs::last_write_time(support / "RamDiskEntries"), before);
}

// Whoever has the lock by now, that program is gone.
TEST_F(CommandLineTest, TheHeirOfAKilledProgramIsToldAsSuch) {
  const std::string gate = scratch.path("gate");
  ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
  const std::string command =
      scratch.executable("post", "#!/bin/sh\necho $PPID $$ > '" + gate + "'\nexec sleep 100\n");
  done("add '" + folder + "' --size 200M --post-command '" + command + "'");
  OtherProgram creator([](OtherProgram&) { return run("create cache").status == 0; });
  pid_t killed = 0;
  pid_t left = 0;
  std::ifstream(gate) >> killed >> left;
  kill(killed, SIGKILL);
  EXPECT_FALSE(creator.ended());
  kill(left, SIGKILL);
  const fs::path locks = home + "/.local/share/com.tarnvale.Tarnvale/Locks";
  const Descriptor heir(open(fs::directory_iterator(locks)->path().c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(flock(heir.get(), LOCK_EX | LOCK_NB), 0);
  const Ran ran = run("create cache");
  EXPECT_EQ(ran.status, 1);
  EXPECT_TRUE(holds(ran.output, "a program that tarnvale (process " + std::to_string(killed) +
                                    ", which has ended) started, since "))
      << ran.output;
}

TEST_F(CommandLineTest, BadInputIsOneLineAndChangesNothing) {
  done("add '" + folder + "' --size 200M");
  scratch.file("home/desk/file");
  const std::string before = registry();
  const std::string place = " --directory '" + home + "/desk'";
  const std::pair<std::string, int> rows[] = {
      {"add '" + home + "/missing' --size 200M", 4},
      {"add '" + home + "/desk/file' --size 200M", 4},
      {"add --name x --size 0" + place, 2},
      {"add --name x --size 120G" + place, 4},
      {"add --kind safari", 4},
      {"create nope", 3},
      {"eject cache", 1},
      {"recover", 2},
      {"nonsense", 2},
      {"", 2},
      {"move cache 99", 2},
  };
  for (const auto& [arguments, status] : rows) {
    const Ran ran = run(arguments);
    EXPECT_EQ(ran.status, status) << arguments << "\n" << ran.output;
    EXPECT_EQ(std::count(ran.output.begin(), ran.output.end(), '\n'), 1) << arguments << "\n"
                                                                         << ran.output;
    EXPECT_EQ(registry(), before) << arguments;
  }
}

TEST_F(CommandLineTest, ABrokenRegistryIsNamedAndLeftAsItIs) {
  done("add '" + folder + "' --size 200M");
  const std::string file = home + "/.local/share/com.tarnvale.Tarnvale/RamDiskEntries";
  scratch.file("home/.local/share/com.tarnvale.Tarnvale/RamDiskEntries", "broken");
  for (const char* arguments : {"list", "create cache", "add --name x --size 200M"}) {
    const Ran ran = run(arguments);
    EXPECT_EQ(ran.status, 1) << arguments;
    EXPECT_TRUE(holds(ran.output, file)) << ran.output;
    EXPECT_EQ(readFile(file), "broken");
  }
}

}  // namespace
