#include "platform/linux/LinuxServices.h"

#include <pwd.h>

#include "leaf/Descriptor.h"
#include "platform/linux/LinuxLog.h"
#include "platform/linux/LinuxMachine.h"
#include "platform/linux/LinuxPlaces.h"
#include "tests/support/Test.h"
#include "tests/support/Variables.h"

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

TEST(LinuxPlaces, FollowsTheEnvironment) {
  const passwd* account = getpwuid(getuid());
  ASSERT_NE(account, nullptr);
  const std::string own = account->pw_dir;
  // HOME, XDG_DATA_HOME, XDG_CONFIG_HOME, XDG_CACHE_HOME, and what comes of them.
  const std::array<std::string, 8> cases[] = {
      {"/h//", "/d/", "/k", "/c", "/h", "/d", "/k", "/c"},
      {"/h", "d", "", "~", "/h", "/h/.local/share", "/h/.config", "/h/.cache"},
      {"/", "", "", "", "/", "/.local/share", "/.config", "/.cache"},
      {"relative", "", "", "", own, own + "/.local/share", own + "/.config", own + "/.cache"},
      {"", "", "", "", own, own + "/.local/share", own + "/.config", own + "/.cache"}};
  for (const auto& test : cases) {
    const LinuxPlaces places(linuxDirectories(environmentOf({{"HOME", test[0]},
                                                             {"XDG_DATA_HOME", test[1]},
                                                             {"XDG_CONFIG_HOME", test[2]},
                                                             {"XDG_CACHE_HOME", test[3]}})),
                             "/libexec");
    EXPECT_EQ(places.home(), test[4]);
    EXPECT_EQ(places.applicationSupportDirectories(), std::vector{test[5]}) << test[0];
    EXPECT_EQ(places.preferencesDirectory(), test[6]) << test[0];
    EXPECT_EQ(places.cachesDirectories(), std::vector{test[7]}) << test[0];
    EXPECT_EQ(places.kindTable()[5].preset.mountDirectory, test[7] + "/mozilla");
  }
  const LinuxPlaces places(linuxDirectories(environmentOf({})), "/libexec");
  EXPECT_EQ(places.volumesDirectory(), std::string("/run/media/") + account->pw_name);
  EXPECT_EQ(places.tool(Tool::Formatter), "/libexec/newfs_hfs");
}

TEST(LinuxPlaces, LooksForApplicationsInEveryShare) {
  const auto found = linuxDirectories(environmentOf(
      {{"HOME", "/h"}, {"XDG_DATA_DIRS", "/one:two::/three/"}, {"PATH", "/b:.::/c"}}));
  EXPECT_EQ(
      found.applications,
      (std::vector<std::string>{
          "/h/.local/share/applications", "/one/applications", "/three/applications",
          "/h/.local/share/flatpak/exports/share/applications",
          "/var/lib/flatpak/exports/share/applications", "/var/lib/snapd/desktop/applications"}));
  EXPECT_EQ(found.executables, (std::vector<std::string>{"/b", "/c"}));
}

TEST(LinuxMachine, CountsPagesOfTheKernelsAmounts) {
  const Scratch root;
  const auto kilobytes = [](long pages) {
    return std::to_string(pages * sysconf(_SC_PAGESIZE) / 1024) + " kB\n";
  };
  root.file("proc/meminfo", "MemTotal:       16384256 kB\nMemFree: " + kilobytes(11) +
                                "Active(anon): 999 kB\nActive:   " + kilobytes(12) +
                                "Inactive: " + kilobytes(13) + "Unevictable: " + kilobytes(100) +
                                "SReclaimable: " + kilobytes(14) + "SUnreclaim: " + kilobytes(20) +
                                "KernelStack: " + kilobytes(3) + "PageTables: " + kilobytes(4));
  const LinuxMachine machine(root.path());
  EXPECT_EQ(machine.physicalMemory(), 16384256ULL * 1024);
  const auto pages = machine.virtualMemory().value_or(VirtualMemoryPages());
  EXPECT_EQ(pages.pageSize, static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)));
  EXPECT_EQ((std::vector{pages.free, pages.active, pages.inactive, pages.wired, pages.purgeable,
                         pages.compressed}),
            (std::vector<std::uint64_t>{11, 12, 13, 127, 14, 0}));
}

TEST(LinuxMachine, DescribesTheMachineFromWhatIsThere) {
  const Scratch root;
  const LinuxMachine machine(root.path());
  int code = 0;
  EXPECT_EQ(machine.hardwareModel(code), std::nullopt);
  EXPECT_EQ(std::exchange(code, 0), ENOENT);
  EXPECT_EQ(machine.processorFrequency(code), std::nullopt);
  EXPECT_EQ(code, ENOENT);
  EXPECT_EQ(machine.virtualMemory(), std::nullopt);

  root.file("proc/device-tree/model", std::string("A Board 5\0", 10));
  root.file("proc/cpuinfo",
            "processor\t: 0\ncpu MHz\t\t: 2400.500\nprocessor\t: 1\ncpu MHz\t: 1\n");
  root.file("proc/uptime", "1234.56 99.00\n");
  root.file("usr/lib/os-release", "VERSION_ID=1\n");
  EXPECT_EQ(machine.hardwareModel(code), "A Board 5");
  EXPECT_EQ(machine.processorFrequency(code), 2'400'500'000U);
  EXPECT_DOUBLE_EQ(machine.uptime(), 1234.56);
  EXPECT_EQ(machine.productVersion(), "1");

  root.file("sys/class/dmi/id/product_name", "Laptop 9\n");
  root.file("sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", "4700000\n");
  root.file("etc/os-release", "NAME=\"X\"\nVERSION_ID=\"12.4\"\n");
  EXPECT_EQ(machine.hardwareModel(code), "Laptop 9");
  EXPECT_EQ(machine.processorFrequency(code), UINT32_MAX);
  EXPECT_EQ(machine.productVersion(), "12.4");
}

// The running machine's amounts fit each other.
TEST(LinuxMachine, ReadsTheRealMachine) {
  const LinuxMachine machine;
  const auto pages = machine.virtualMemory();
  ASSERT_TRUE(pages);
  EXPECT_GT(machine.physicalMemory(), 0U);
  EXPECT_LT((pages->free + pages->wired) * pages->pageSize, machine.physicalMemory());
  EXPECT_GT(machine.uptime(), 0);
  EXPECT_EQ(machine.processorCount(), std::thread::hardware_concurrency());
}
