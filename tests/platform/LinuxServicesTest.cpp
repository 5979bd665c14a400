#include "platform/linux/LinuxServices.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <thread>
#include <vector>

#include "leaf/Descriptor.h"
#include "platform/linux/LinuxLog.h"
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
  const Descriptor shown(open(scratch.file("log").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
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
  close(ends[0]);
  const Descriptor writing(ends[1]);
  LinuxLog log("test", 0, writing.get());
  log.write(5, "nobody reads this");
}

TEST(StandardErrorAlerts, AreWrittenAndNotWaitedFor) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);
  StandardErrorAlerts alerts(writing.get());
  EXPECT_EQ(alerts.runModal({"Title.", "Text.", {"Ok", "Other"}}), 0U);
  EXPECT_EQ(alerts.runModal({"Alone.", "", {"Ok"}}), 0U);
  writing.reset();
  std::array<char, 100> text{};
  ASSERT_GT(read(reading.get(), text.data(), text.size() - 1), 0);
  EXPECT_STREQ(text.data(), "Title.\nText.\nAlone.\n");
}
