#include <poll.h>
#include <sys/syscall.h>

#include "leaf/Descriptor.h"
#include "platform/linux/InstalledApplications.h"
#include "platform/linux/LinuxApplications.h"
#include "platform/linux/Processes.h"
#include "tests/support/Companion.h"
#include "tests/support/Test.h"

using namespace platform;

namespace {

constexpr char kFirefox[] = "org.mozilla.firefox";
constexpr char kChromium[] = "org.chromium.Chromium";
constexpr char kVersion[] = "CFBundleShortVersionString";

// Waits for the end of a process that is no child of the test.
bool ends(pid_t process) {
  const Descriptor held(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  pollfd waiting{held.get(), POLLIN, 0};
  return held.get() < 0 || poll(&waiting, 1, 60'000) == 1;
}

// A made-up system: entries in share/applications and exports/share/applications, PATH is bin.
class LinuxApplicationsTest : public testing::Test {
 protected:
  void entry(const std::string& name, const std::string& lines) const {
    system.file("share/applications/" + name + ".desktop",
                "[Desktop Entry]\nType=Application\n" + lines);
  }

  std::string script(const std::string& path, const std::string& lines) const {
    return system.executable(path, "#!/bin/sh\n" + lines + "\n");
  }

  // A program of which real processes can be made.
  std::string sleeper(const std::string& path) const {
    system.file(path);
    fs::copy_file("/bin/sleep", system.path(path), fs::copy_options::overwrite_existing);
    return system.path(path);
  }

  std::vector<std::int64_t> runningNumbers(std::string_view identifier) const {
    std::vector<std::int64_t> numbers;
    for (const auto& one : applications.running(identifier))
      numbers.push_back(one.processIdentifier);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
  }

  Scratch system;
  LinuxApplications applications{
      {{system.path("share/applications"), system.path("exports/share/applications")},
       {system.path("bin")}}};
};

TEST_F(LinuxApplicationsTest, FindsTheProgramThatAnEntryNames) {
  const std::string firefox = script("bin/firefox", "");
  const std::pair<const char*, bool> cases[] = {
      {"Name=F\nExec=env A=b firefox %u\n", true},
      {"Exec=firefox\nTryExec=missing\n", false},
      {"Exec=firefox\nTryExec=firefox\n", true},
      {"Exec=firefox\nHidden=true\n", false},
      {"Name=F\n\n[Desktop Action new]\nExec=firefox\n", false},
      {"Exec=missing\n", false},
      {"Exec=/etc/passwd\n", false}};
  for (const auto& [lines, isFound] : cases) {
    entry("firefox", lines);
    EXPECT_EQ(applications.pathOfApplication(kFirefox).has_value(), isFound) << lines;
  }
  // An entry that leads nowhere does not hide another.
  entry("firefox-esr", "Exec=" + firefox + "\n");
  EXPECT_EQ(applications.pathOfApplication(kFirefox), firefox);
  EXPECT_EQ(applications.pathOfApplication("com.example.unknown"), std::nullopt);
  // Of the utilities that desktops bring along the most used goes first.
  for (const std::string name : {"gparted", "org.gnome.DiskUtility"}) {
    entry(name, "Exec=" + script("bin/" + name, "") + "\n");
    EXPECT_EQ(applications.pathOfApplication("com.apple.DiskUtility"), system.path("bin/" + name));
  }
}

TEST_F(LinuxApplicationsTest, KnowTheirIconsFromTheirEntriesOnce) {
  const auto firefox = script("bin/firefox", "");
  const auto opera = script("bin/opera", "");
  const auto other = script("bin/other", "");
  entry("firefox", "Exec=firefox %u\nIcon=firefox-icon\n");
  entry("opera", "Exec=opera\n");
  entry("other", "Exec=other\nIcon=other\n");
  const auto iconName =
      applicationIcons({{system.path("share/applications")}, {system.path("bin")}});
  EXPECT_EQ(iconName(firefox), "firefox-icon");
  EXPECT_EQ(iconName(other), std::nullopt) << "none of those that have a name here";
  entry("opera", "Exec=opera\nIcon=opera\n");
  EXPECT_EQ(iconName(opera), std::nullopt) << "they are looked for once";
}

TEST_F(LinuxApplicationsTest, GivesEachFlatpakItsOwnProgram) {
  script("bin/flatpak", "");
  const std::string own = script("exports/bin/org.mozilla.firefox", "");
  system.file("exports/share/applications/org.mozilla.firefox.desktop",
              "[Desktop Entry]\nExec=" + system.path("bin/flatpak") + " run org.mozilla.firefox\n");
  const std::string flatpak = kFirefox + std::string(kFlatpakEnd);
  EXPECT_EQ(applications.pathOfApplication(flatpak), own);
  EXPECT_EQ(applications.pathOfApplication(kFirefox), std::nullopt)
      << "it keeps its files elsewhere";

  // A distribution may give its own package an entry of the same name.
  entry("org.mozilla.firefox", "Exec=" + script("bin/firefox", "") + "\n");
  EXPECT_EQ(applications.pathOfApplication(kFirefox), system.path("bin/firefox"));
  EXPECT_EQ(applications.pathOfApplication(flatpak), own);
  EXPECT_EQ(applications.pathOfApplication(kFirefox + std::string(kSnapEnd)), std::nullopt);
}

TEST_F(LinuxApplicationsTest, ReadsOrAsksTheVersion) {
  const std::string asked = script("bin/chromium", "echo asked >>" + system.path("log") +
                                                       "; echo \"Browser 120.0.6 built on 9\"");
  EXPECT_EQ(applications.information(asked, kVersion), "120.0.6");
  EXPECT_EQ(applications.information(asked, "CFBundleVersion"), "120.0.6");
  EXPECT_EQ(readFile(system.path("log")), "asked\n");

  script("bin/chromium", "echo \"Browser 121.5\"");
  const std::array<timespec, 2> later = {{{4'000'000'000, 0}, {4'000'000'000, 0}}};
  ASSERT_EQ(utimensat(AT_FDCWD, asked.c_str(), later.data(), 0), 0);
  EXPECT_EQ(applications.information(asked, kVersion), "121.5");

  // A file beside the real executable is read instead, whatever the program would say.
  const std::string real = script("lib/firefox/firefox", "echo 1.1");
  system.file("lib/firefox/application.ini",
              "[App]\nName=Firefox\nVersion=128.3.1\n[Gecko]\nMinVersion=1\n");
  fs::create_symlink(real, system.path("bin/link"));
  EXPECT_EQ(applications.information(system.path("bin/link"), kVersion), "128.3.1");
  EXPECT_EQ(applications.information(script("bin/firefox", "echo 1.1"), kVersion), "128.3.1");
}

TEST_F(LinuxApplicationsTest, DoesNotWaitForAProgramThatHangs) {
  const auto limit = std::chrono::milliseconds(100);
  EXPECT_EQ(askedVersion(script("hanging", "echo 1.2; sleep 1000"), limit), std::nullopt);
  // One that answers and stays does not hold the caller up, and what it started goes with it.
  const std::string staying =
      script("staying", "sleep 1000 >/dev/null & echo $! >" + system.path("number") +
                            "; echo v1.2; exec >&-; wait");
  EXPECT_EQ(askedVersion(staying, limit * 1000), "1.2");
  EXPECT_TRUE(ends(std::stoi(readFile(system.path("number")))));
  EXPECT_EQ(askedVersion(script("chatting", "exec yes 7.7"), limit * 1000), "7.7");
  EXPECT_EQ(askedVersion(script("silent", "echo 1.2 >&2"), limit * 1000), std::nullopt);
  for (const auto& [output, version] : std::vector<std::pair<const char*, const char*>>{
           {"Some Browser 115.3.0esr", "115.3.0"}, {"R2 build 7, 3.4.", "3.4"}, {"v.5 6.1", "6.1"}})
    EXPECT_EQ(askedVersion(script("printing", std::string("echo ") + output), limit * 1000),
              version);
  EXPECT_EQ(askedVersion(script("vague", "echo 7. 8. 9"), limit * 1000), std::nullopt);
}

TEST_F(LinuxApplicationsTest, SeesAndEndsRunningCopies) {
  const std::string firefox = sleeper("lib/firefox/firefox");
  entry("firefox", "Name=The Fox\nExec=firefox %u\n");
  script("bin/firefox", "exec " + firefox);
  const std::string chromium = sleeper("bin/chromium");
  entry("chromium", "Exec=chromium\n");

  Companion first({firefox, "1000"});
  Companion second({firefox, "1000"});
  Companion other({chromium, "1000"});
  auto expected = std::vector<std::int64_t>{first.process(), second.process()};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(runningNumbers(kFirefox), expected);
  EXPECT_EQ(runningNumbers(kChromium), std::vector<std::int64_t>{other.process()});
  EXPECT_EQ(applications.running(kFirefox).front().localizedName, "The Fox");
  EXPECT_EQ(applications.running(kChromium).front().localizedName, std::nullopt);
  // A copy whose file an update replaced still counts.
  for (const std::string name : {"lib/firefox/firefox", "bin/chromium"}) {
    fs::remove(system.path(name));
    sleeper(name);
  }
  EXPECT_EQ(runningNumbers(kFirefox), expected);
  EXPECT_EQ(runningNumbers(kChromium), std::vector<std::int64_t>{other.process()});

  EXPECT_FALSE(applications.terminate({other.process(), kFirefox, std::nullopt}));
  EXPECT_TRUE(applications.terminate({first.process(), kFirefox, std::nullopt}));
  EXPECT_EQ(first.endingSignal(), SIGTERM);
  EXPECT_TRUE(applications.forceTerminate({second.process(), kFirefox, std::nullopt}));
  EXPECT_EQ(second.endingSignal(), SIGKILL);
  EXPECT_TRUE(runningNumbers(kFirefox).empty());
}

// A script in the folder of the program that it starts, and what else may lie there.
TEST_F(LinuxApplicationsTest, SeesWhatAScriptStarts) {
  script("opt/google/chrome/google-chrome", "");
  fs::create_directories(system.path("bin"));
  fs::create_symlink(system.path("opt/google/chrome/google-chrome"),
                     system.path("bin/google-chrome-stable"));
  entry("google-chrome", "Exec=google-chrome-stable %U\n");
  Companion chrome({sleeper("opt/google/chrome/chrome"), "1000"});
  Companion helper({sleeper("opt/google/chrome/updater"), "1000"});
  Companion deeper({sleeper("opt/google/chrome/other/chrome"), "1000"});
  EXPECT_EQ(runningNumbers("com.google.Chrome"), std::vector<std::int64_t>{chrome.process()});
}

// A snap's entry, whatever its name, leads to a link into the launcher of all snaps, which must not
// make every snap a copy of one.
TEST_F(LinuxApplicationsTest, TellsSnapsApart) {
  sleeper("usr/bin/snap");
  system.directory("snap/bin");
  for (const std::string name : {"firefox", "chromium"}) {
    const std::string link = system.path("snap/bin/" + name);
    fs::create_symlink(system.path("usr/bin/snap"), link);
    entry(name, "Exec=env HINT=/x " + link + " %u\n");
  }
  const std::string chromium = kChromium + std::string(kSnapEnd);
  for (const std::string name : {"chromium", "chromium_chromium"}) {
    EXPECT_EQ(applications.pathOfApplication(chromium), system.path("snap/bin/chromium"));
    EXPECT_EQ(applications.pathOfApplication(kChromium), std::nullopt);
    fs::rename(system.path("share/applications/" + name + ".desktop"),
               system.path("share/applications/chromium_chromium.desktop"));
  }
  const Companion launcher({system.path("usr/bin/snap"), "1000"});
  const Companion firefox({sleeper("snap/firefox/12/usr/lib/firefox"), "1000"});
  EXPECT_EQ(runningNumbers(kFirefox + std::string(kSnapEnd)),
            std::vector<std::int64_t>{firefox.process()});
  EXPECT_TRUE(runningNumbers(chromium).empty());
  EXPECT_TRUE(runningNumbers(kFirefox).empty());
}

TEST(LinuxProcesses, ReportsAProgramOfManyProcessesOnce) {
  const std::vector<Process> all = {{1, 0, "init"},  {5, 1, "fox"},   {6, 5, "fox"},
                                    {7, 5, "box"},   {8, 7, "fox"},   {9, 1, "fox"},
                                    {20, 21, "fox"}, {21, 20, "box"}, {30, 99, "fox"}};
  std::vector<std::int64_t> leading;
  for (const auto& one :
       leadingProcesses(all, [](const Process& p) { return p.executable == "fox"; }))
    leading.push_back(one.identifier);
  EXPECT_EQ(leading, (std::vector<std::int64_t>{5, 9, 30}));
}

}  // namespace
