#pragma once
// The programs as a user runs them: real processes, real mounts, a home of their own.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/Scratch.h"

namespace fs = std::filesystem;

struct Ran {
  int status = -1;
  std::string output;  // both streams
};

class CommandLineTest : public testing::Test {
 protected:
  CommandLineTest() {
    setenv("HOME", home.c_str(), 1);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
                             "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"})
      unsetenv(name);  // no bus: nobody else's session is told
  }
  ~CommandLineTest() override { run("eject --all --quiet"); }

  static Ran run(const std::string& arguments) {
    Ran ran;
    FILE* pipe = popen((std::string(TARNVALE_PROGRAM) + " " + arguments + " 2>&1").c_str(), "r");
    if (!pipe) return ran;
    std::array<char, 4096> buffer{};
    for (std::size_t got = 0; (got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
      ran.output.append(buffer.data(), got);
    const int status = pclose(pipe);
    ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return ran;
  }
  // Runs what must succeed.
  static std::string done(const std::string& arguments) {
    const Ran ran = run(arguments);
    EXPECT_EQ(ran.status, 0) << arguments << "\n" << ran.output;
    return ran.output;
  }
  static bool isMounted(const std::string& path) {
    return readFile("/proc/self/mountinfo").find(" " + path + " ") != std::string::npos;
  }
  static bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }
  std::string registry() const {
    return readFile(home + "/.local/share/com.tarnvale.Tarnvale/RamDiskEntries");
  }

  Scratch scratch;
  std::string home = scratch.directory("home");
  std::string folder = scratch.directory("home/desk/cache");
  std::string saved = folder + " (Tarnvale Backup Base)";
};
