// What people do to a disk that nobody foresaw: each case once lost files, nearly all without a
// word.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <csignal>
#include <filesystem>
#include <set>

#include "tests/endtoend/CommandLineTest.h"
#include "tests/support/OtherProgram.h"

namespace {

namespace fs = std::filesystem;

class NothingLostTest : public CommandLineTest {
 protected:
  void create(const std::string& options = "") {
    done("add '" + folder + "' --size 200M" + options);
    done("create cache");
  }
  // Runs the program behind another one that takes something from it.
  static Ran runBehind(const std::string& before, const std::string& arguments) {
    const std::string program = TARNVALE_PROGRAM;
    const std::string script = before + " '" + program + "' " + arguments;
    Ran ran;
    FILE* pipe = popen(("{ " + script + "; } 2>&1").c_str(), "r");
    std::array<char, 4096> buffer{};
    for (std::size_t got = 0; (got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
      ran.output.append(buffer.data(), got);
    const int status = pclose(pipe);
    ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ran;
  }
  // As somebody who is not root, but may use the disk tools.
  static Ran runAsUser(const std::string& arguments) {
    return runBehind("setpriv --bounding-set=-dac_override,-dac_read_search,-fowner --", arguments);
  }
  // Every file below home/desk that is called so, wherever it was kept.
  int copiesOf(const std::string& name) const {
    int copies = 0;
    for (const auto& entry : fs::recursive_directory_iterator(home + "/desk"))
      copies += entry.path().filename() == name ? 1 : 0;
    return copies;
  }
};

constexpr char kNoLargeFiles[] = "ulimit -f 200;";  // in blocks of 512 bytes

TEST_F(NothingLostTest, ASaveThatIsNotWholeEndsNoDisk) {
  scratch.file("home/desk/cache/report", "first");
  create();
  scratch.file("home/desk/cache/report", std::string(300'000, 'x'));
  scratch.file("home/desk/cache/new", "new");
  for (const char* action : {"eject cache", "rebuild cache", "sync cache"}) {
    const Ran ran = runBehind(kNoLargeFiles, action);
    EXPECT_EQ(ran.status, 1) << action;
    EXPECT_TRUE(holds(ran.output, "could be saved: report")) << ran.output;
    EXPECT_TRUE(isMounted(folder)) << action;
    EXPECT_EQ(readFile(saved + "/new"), "new") << "what can be saved is";
    EXPECT_EQ(readFile(saved + ".previous/report"), "first") << "what was saved stays";
  }
  const Ran forced = runBehind(kNoLargeFiles, "eject cache --force");
  EXPECT_EQ(forced.status, 0) << forced.output;
  EXPECT_TRUE(holds(forced.output, "are gone: report")) << forced.output;
  EXPECT_EQ(readFile(folder + "/report"), "first");
  EXPECT_EQ(readFile(folder + "/new"), "new");
  EXPECT_FALSE(fs::exists(saved + ".previous"));
}

TEST_F(NothingLostTest, WhoHasTheDirectoryOpenIsNamedAndWritesNothingInVain) {
  scratch.file("home/desk/cache/log", "begun ");
  done("add '" + folder + "' --size 200M");
  std::array<int, 2> go{};
  ASSERT_EQ(pipe2(go.data(), O_CLOEXEC), 0);
  OtherProgram shell([&](OtherProgram& self) {
    if (chdir(folder.c_str()) != 0) return false;
    const int log = open("log", O_WRONLY | O_APPEND | O_CLOEXEC);
    self.tell();
    char byte = 0;
    if (read(go[0], &byte, 1) != 1) return false;
    const int made = open("made", O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const bool written = write(log, "and ended", 9) == 9 && write(made, "made", 4) == 4;
    close(log);
    return written && chdir("/") == 0;
  });
  ASSERT_TRUE(shell.waitUntilTold());
  const Ran refused = run("create cache");
  EXPECT_EQ(refused.status, 4);
  EXPECT_TRUE(holds(refused.output, "is in use by test_endtoend (")) << refused.output;
  EXPECT_EQ(readFile(folder + "/log"), "begun ");
  done("create cache --force");
  EXPECT_EQ(write(go[1], "+", 1), 1);
  EXPECT_TRUE(shell.ended());
  const std::string told = done("eject cache");
  EXPECT_TRUE(holds(told, "are kept in " + saved + " rescued")) << told;
  EXPECT_EQ(readFile(saved + " rescued/log"), "begun and ended");
  EXPECT_EQ(readFile(saved + " rescued/made"), "made");
  EXPECT_EQ(readFile(folder + "/log"), "begun ");
}

// A program that writes without a pause, by names in the directory; each file it has closed is to
// be found.
TEST_F(NothingLostTest, AProgramThatNeverPausesLosesNothing) {
  for (const bool force : {false, true}) {
    SCOPED_TRACE(force);
    scratch.directory("home/desk/cache");
    create();
    const std::string count = scratch.file(force ? "count2" : "count1", "0");
    OtherProgram writer([&](OtherProgram& self) {
      const int counter = open(count.c_str(), O_WRONLY | O_CLOEXEC);
      off_t at = 0;
      for (int i = 0; i < 1'000'000; ++i) {
        const std::string name = folder + "/f" + std::to_string(i);
        const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (file < 0) continue;
        const bool written = write(file, "x", 1) == 1;
        if (close(file) == 0 && written)
          at += pwrite(counter, (name + "\n").c_str(), name.size() + 1, at);
        if (i == 100) self.tell();
      }
      return true;
    });
    ASSERT_TRUE(writer.waitUntilTold());
    const Ran ran = run(force ? "eject cache --force" : "eject cache");
    EXPECT_TRUE(ran.status == 0 || (!force && ran.status == 4)) << ran.output;
    writer.kill();
    if (ran.status != 0) done("eject cache");
    std::set<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(home + "/desk"))
      found.insert(entry.path().filename());
    std::istringstream names(readFile(count));
    int lost = 0;
    int all = 0;
    for (std::string name; std::getline(names, name); ++all)
      lost += found.count(fs::path(name).filename()) == 0 ? 1 : 0;
    EXPECT_GE(all, 100);
    EXPECT_EQ(lost, 0) << "of " << all;
    done("remove cache --yes");
    fs::remove_all(home + "/desk");
  }
}

TEST_F(NothingLostTest, WhatIsMovedDuringASaveIsInAGeneration) {
  constexpr int kFiles = 50;
  scratch.directory("home/desk/cache/a");
  scratch.directory("home/desk/cache/b");
  for (int i = 0; i < 3000; ++i) scratch.file("home/desk/cache/c/" + std::to_string(i));
  for (int i = 0; i < kFiles; ++i) scratch.file("home/desk/cache/a/m" + std::to_string(i));
  create();
  OtherProgram mover([&](OtherProgram& self) {
    for (int round = 0;; ++round)
      for (int i = 0; i < kFiles; ++i) {
        const std::string name = "/m" + std::to_string(i);
        rename((folder + (round % 2 == 0 ? "/a" : "/b") + name).c_str(),
               (folder + (round % 2 == 0 ? "/b" : "/a") + name).c_str());
        if (round == 1 && i == 0) self.tell();
      }
    return true;
  });
  ASSERT_TRUE(mover.waitUntilTold());
  for (int again = 0; again < 3; ++again) {
    const Ran ran = run("sync cache");
    EXPECT_TRUE(ran.status == 0 || holds(ran.output, "moved while they were saved")) << ran.output;
    for (int i = 0; i < kFiles; ++i) {
      const std::string name = "/m" + std::to_string(i);
      EXPECT_TRUE(fs::exists(saved + "/a" + name) || fs::exists(saved + "/b" + name) ||
                  fs::exists(saved + ".previous/a" + name) ||
                  fs::exists(saved + ".previous/b" + name))
          << name;
    }
  }
  mover.kill();
  done("sync cache");
  EXPECT_FALSE(fs::exists(saved + ".previous"));
}

TEST_F(NothingLostTest, ACreationThatFailsLeavesTheDirectoryWhereItWas) {
  scratch.file("home/desk/cache/mine", "mine");
  done("add '" + folder + "' --size 200M --post-command /bin/false");
  EXPECT_EQ(run("create cache").status, 1);
  EXPECT_EQ(readFile(folder + "/mine"), "mine");
  EXPECT_FALSE(isMounted(folder));
  EXPECT_FALSE(fs::exists(saved));
}

// Names that the system keeps for itself on volumes, sockets, and what root left there.
TEST_F(NothingLostTest, WhatNoVolumeCanHoldIsThereAfterwards) {
  for (const char* name : {".Trash/old", ".localized", ".file", ".fseventsd/x", "mine"})
    scratch.file("home/desk/cache/" + std::string(name), name);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(chdir(folder.c_str()), 0);
  std::string("agent").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listening, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(listening);
  ASSERT_EQ(chdir("/"), 0);
  done("add '" + folder + "' --size 200M");
  EXPECT_TRUE(holds(done("create cache"), "agent")) << "it is told";
  scratch.file("home/desk/cache/mine", "changed");
  for (const char* action : {"sync cache", "sync cache", "rebuild cache", "eject cache"})
    done(action);
  for (const char* name : {".Trash/old", ".localized", ".file", ".fseventsd/x"})
    EXPECT_EQ(readFile(folder + "/" + name), name);
  EXPECT_EQ(readFile(folder + "/mine"), "changed");
  EXPECT_TRUE(fs::is_socket(folder + "/agent"));
  EXPECT_FALSE(fs::exists(saved + ".previous"));
}

TEST_F(NothingLostTest, WhatTheUserCannotReadIsNamedAndCarriedOver) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of somebody else's";
  scratch.file("home/desk/cache/mine", "mine");
  const std::string theirs = scratch.file("home/desk/cache/deep/theirs", "theirs");
  const std::string locked = scratch.file("home/desk/cache/locked", "locked");
  ASSERT_EQ(chown(theirs.c_str(), 4242, 4242), 0);
  chmod(theirs.c_str(), 0600);
  chmod(locked.c_str(), 0);
  ASSERT_EQ(runAsUser("add '" + folder + "' --size 200M").status, 0);
  const Ran refused = runAsUser("create cache");
  EXPECT_EQ(refused.status, 4);
  EXPECT_TRUE(holds(refused.output, "may not read: deep/theirs, locked")) << refused.output;
  EXPECT_EQ(readFile(folder + "/mine"), "mine");
  EXPECT_EQ(runAsUser("create cache --force").status, 0);
  scratch.file("home/desk/cache/mine", "changed");
  for (const char* action : {"sync cache", "sync cache", "eject cache"}) {
    const Ran ran = runAsUser(action);
    EXPECT_EQ(ran.status, 0) << action << "\n" << ran.output;
  }
  EXPECT_EQ(readFile(theirs), "theirs");
  EXPECT_EQ(readFile(locked), "locked");
  EXPECT_EQ(readFile(folder + "/mine"), "changed");
  EXPECT_EQ(copiesOf("theirs"), 1);
}

TEST_F(NothingLostTest, ADiskThatIsTooFullToComeBackIsNotRebuilt) {
  create();
  fs::resize_file(scratch.file("home/desk/cache/large"), 140'000'000);
  const Ran ran = run("rebuild cache");
  EXPECT_EQ(ran.status, 1);
  EXPECT_TRUE(holds(ran.output, "too full")) << ran.output;
  EXPECT_TRUE(isMounted(folder));
  EXPECT_EQ(fs::file_size(folder + "/large"), 140'000'000U);
}

TEST_F(NothingLostTest, ADirectoryAboveMayBeRenamed) {
  scratch.file("home/desk/cache/old", "old");
  create();
  scratch.file("home/desk/cache/new", "new");
  fs::rename(home + "/desk", home + "/table");
  done("sync cache");
  done("eject cache");
  EXPECT_EQ(readFile(home + "/table/cache/old"), "old");
  EXPECT_EQ(readFile(home + "/table/cache/new"), "new");
  EXPECT_FALSE(fs::exists(home + "/desk"));
}

}  // namespace
