// What is typed on the terminal of a running command.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "tests/support/Scratch.h"

namespace {

constexpr char kInterrupt[] = "\x03";

// A command in the foreground of a terminal of its own.
class Terminal {
 public:
  explicit Terminal(std::vector<std::string> words) {
    process_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
    if (process_ != 0) return;
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  ~Terminal() { close(terminal_); }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void type(std::string_view keys) const {
    EXPECT_EQ(write(terminal_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }
  // Reads until the text was shown; false when the command ended before.
  bool shows(const std::string& text) {
    char buffer[512];
    while (shown_.find(text) == std::string::npos) {
      const ssize_t got = read(terminal_, buffer, sizeof buffer);
      if (got <= 0) return false;
      shown_.append(buffer, static_cast<std::size_t>(got));
    }
    return true;
  }
  // The status as waitpid() gives it, once the command has ended.
  int end() {
    shows("\n no such line\n");
    int status = -1;
    EXPECT_EQ(waitpid(process_, &status, 0), process_);
    return status;
  }
  const std::string& shown() const { return shown_; }

 private:
  int terminal_ = -1;
  pid_t process_ = 0;
  std::string shown_;
};

// A disk whose command after the creation says that it runs and then waits to be let on.
class TerminalTest : public testing::Test {
 protected:
  TerminalTest() {
    setenv("HOME", home.c_str(), 1);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
                             "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"})
      unsetenv(name);
    EXPECT_EQ(mkfifo(fifo("runs").c_str(), 0600), 0);
    EXPECT_EQ(mkfifo(fifo("go").c_str(), 0600), 0);
    const auto command = scratch.executable(
        "command", "#!/bin/sh\necho >'" + fifo("runs") + "'\nread -r line <'" + fifo("go") +
                       "'\necho \"$line\" >'" + scratch.path("finished") + "'\n");
    run("add '" + folder + "' --size 200M --post-command '" + command + "'");
  }
  ~TerminalTest() override { run("eject --all --quiet"); }

  static void run(const std::string& arguments) {
    EXPECT_EQ(std::system((std::string(TARNVALE_PROGRAM) + " " + arguments + " >&2").c_str()), 0);
  }
  std::string fifo(const std::string& name) const { return scratch.path(name); }
  void waitUntilTheCommandRuns() const { readFile(fifo("runs")); }
  // Returns once nobody waits to be let on any more.
  void waitUntilTheCommandIsGone() const {
    const int writing = open(fifo("go").c_str(), O_WRONLY | O_NONBLOCK);
    if (writing < 0) return;
    pollfd readers{writing, 0, 0};
    EXPECT_EQ(poll(&readers, 1, 10'000), 1) << "it still runs";
    close(writing);
  }

  Scratch scratch;
  std::string home = scratch.directory("home");
  std::string folder = scratch.directory("home/desk/cache");
};

TEST_F(TerminalTest, TheFirstInterruptionReachesNothingThatRuns) {
  Terminal terminal({TARNVALE_PROGRAM, "create", "cache"});
  waitUntilTheCommandRuns();
  terminal.type(kInterrupt);
  EXPECT_TRUE(terminal.shows("cache is finished first")) << terminal.shown();
  std::ofstream(fifo("go")) << "done\n";
  const int status = terminal.end();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << terminal.shown();
  EXPECT_EQ(readFile(scratch.path("finished")), "done\n");
}

TEST_F(TerminalTest, TheSecondInterruptionLeavesNothingRunning) {
  Terminal terminal({TARNVALE_PROGRAM, "create", "cache"});
  waitUntilTheCommandRuns();
  terminal.type(kInterrupt);
  EXPECT_TRUE(terminal.shows("cache is finished first")) << terminal.shown();
  terminal.type(kInterrupt);
  const int status = terminal.end();
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << terminal.shown();
  waitUntilTheCommandIsGone();
  EXPECT_EQ(readFile(scratch.path("finished")), "");
}

}  // namespace
