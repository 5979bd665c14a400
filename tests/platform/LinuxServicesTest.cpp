#include "platform/linux/LinuxServices.h"

#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <thread>
#include <vector>

#include "platform/linux/LinuxLog.h"
#include "platform/posix/FileDescriptor.h"
#include "tests/support/Scratch.h"

using namespace platform;

TEST(LinuxServices, FindsTheToolsBesideTheFolderOfTheExecutable) {
  const Services all = linuxServices({});
  const std::string executable = all.bundle->executablePath();
  const auto folder = executable.rfind('/', executable.rfind('/') - 1);
  EXPECT_EQ(all.places->tool(Tool::Attacher),
            executable.substr(0, folder) + "/libexec/tarnvale/hdiutil");
}

TEST(LinuxLog, ShowsWholeEntriesFromTheSeverityUpwards) {
  const Scratch scratch;
  std::FILE* file = std::fopen(scratch.file("log").c_str(), "a");
  ASSERT_NE(file, nullptr);
  const FileDescriptor shown(dup(fileno(file)));
  std::fclose(file);
  LinuxLog log("test", 3, shown.get());
  log.write(2, "quiet");
  log.write(3, "one\ntwo");
  EXPECT_EQ(readFile(scratch.path("log")), "one\ntwo\n");

  constexpr std::size_t kThreads = 4;
  constexpr std::size_t kEntries = 50;
  const std::string entry(3000, 'x');
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i)
    threads.emplace_back([&] {
      for (std::size_t n = 0; n < kEntries; ++n) log.write(5, entry);
    });
  for (auto& thread : threads) thread.join();
  const std::string text = readFile(scratch.path("log")).substr(8);
  ASSERT_EQ(text.size(), kThreads * kEntries * (entry.size() + 1));
  for (std::size_t at = entry.size(); at < text.size(); at += entry.size() + 1)
    ASSERT_EQ(text[at], '\n');
}

// A reader that has gone away must not end a program in the middle of its work.
TEST(LinuxLog, OutlivesItsReader) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  FileDescriptor reading(ends[0]);
  const FileDescriptor writing(ends[1]);
  reading = FileDescriptor();
  LinuxLog log("test", 0, writing.get());
  log.write(5, "nobody reads this");
  EXPECT_EQ(syslogPriority(5), LOG_CRIT);
  EXPECT_EQ(syslogPriority(0), LOG_DEBUG);
  EXPECT_EQ(syslogPriority(99), LOG_CRIT);
  EXPECT_EQ(syslogPriority(-1), LOG_DEBUG);
}
