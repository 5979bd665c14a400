#pragma once
// The helper as a session runs it: real processes, real mounts, a home of its own.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Scratch.h"

class Helper {
 public:
  // With a file for its log, what went wrong is added there.
  explicit Helper(std::vector<std::string> args = {}, const std::string& log = {}) {
    args.insert(args.begin(), TARNVALE_HELPER);
    std::vector<char*> pointers;
    for (auto& arg : args) pointers.push_back(arg.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!log.empty())
      posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(),
                                       O_WRONLY | O_CREAT | O_APPEND, 0600);
    EXPECT_EQ(posix_spawn(&process_, TARNVALE_HELPER, &actions, nullptr, pointers.data(), environ),
              0);
    posix_spawn_file_actions_destroy(&actions);
  }
  ~Helper() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  Helper(const Helper&) = delete;
  Helper& operator=(const Helper&) = delete;

  pid_t process() const { return process_; }
  void ask() const { kill(process_, SIGTERM); }
  bool isRunning() { return !ended(WNOHANG); }
  // The exit status, -1 for a signal's.
  int end() {
    ended(0);
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
  }

 private:
  bool ended(int options) {
    if (process_ > 0 && waitpid(process_, &status_, options) == process_) process_ = 0;
    return process_ == 0;
  }
  pid_t process_ = 0;
  int status_ = 0;
};

class HelperTest : public testing::Test {
 protected:
  HelperTest() {
    setenv("HOME", home.c_str(), 1);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
                             "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"})
      unsetenv(name);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);  // nor the machine's logind
  }
  ~HelperTest() override { run("eject --all --quiet"); }

  static int run(const std::string& arguments) {
    return std::system(
        (std::string(TARNVALE_PROGRAM) + " " + arguments + " >/dev/null 2>&1").c_str());
  }
  std::string add(const std::string& name, const std::string& more = {}) {
    const std::string folder = scratch.directory("home/desk/" + name);
    EXPECT_EQ(run("add '" + folder + "' --size 200M --at-login " + more), 0) << name;
    return folder;
  }
  std::string show(const std::string& name) {
    const std::string file = scratch.path("shown");
    std::system(
        (std::string(TARNVALE_PROGRAM) + " show " + name + " --json >'" + file + "' 2>&1").c_str());
    return readFile(file);
  }
  static std::string mounts() { return readFile("/proc/self/mountinfo"); }
  static bool isMounted(const std::string& path) {
    return mounts().find(" " + path + " ") != std::string::npos;
  }
  static std::size_t mountPlace(const std::string& path) { return mounts().find(" " + path + " "); }
  static bool comesTrue(const std::function<bool()>& condition,
                        std::chrono::seconds within = std::chrono::seconds(20)) {
    const auto limit = std::chrono::steady_clock::now() + within;
    while (!condition() && std::chrono::steady_clock::now() < limit)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return condition();
  }

  Scratch scratch;
  std::string home = scratch.directory("home");
};
