#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include "platform/linux/LinuxPlaces.h"
#include "tests/support/Variables.h"

using namespace platform;

TEST(LinuxPlaces, FollowsTheEnvironment) {
  const passwd* account = getpwuid(getuid());
  ASSERT_NE(account, nullptr);
  const std::string own = account->pw_dir;
  const struct {
    Variables variables;
    std::string home, data, configuration, caches;
  } cases[] = {
      {{{"HOME", "/h//"},
        {"XDG_DATA_HOME", "/d/"},
        {"XDG_CONFIG_HOME", "/k"},
        {"XDG_CACHE_HOME", "/c"}},
       "/h",
       "/d",
       "/k",
       "/c"},
      {{{"HOME", "/h"}, {"XDG_DATA_HOME", "d"}, {"XDG_CACHE_HOME", "~"}},
       "/h",
       "/h/.local/share",
       "/h/.config",
       "/h/.cache"},
      {{{"HOME", "/"}}, "/", "/.local/share", "/.config", "/.cache"},
      {{{"HOME", "relative"}}, own, own + "/.local/share", own + "/.config", own + "/.cache"},
      {{}, own, own + "/.local/share", own + "/.config", own + "/.cache"},
  };
  for (const auto& test : cases) {
    const LinuxPlaces places(linuxDirectories(environmentOf(test.variables)), "/libexec");
    EXPECT_EQ(places.home(), test.home);
    EXPECT_EQ(places.applicationSupportDirectories(), std::vector{test.data}) << test.home;
    EXPECT_EQ(places.preferencesDirectory(), test.configuration) << test.home;
    EXPECT_EQ(places.cachesDirectories(), std::vector{test.caches}) << test.home;
    EXPECT_EQ(places.libraryPrefixes(), (std::vector{test.configuration, test.data}));
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

// The cache directory reaches the table of kinds, whose browsers keep their caches there.
TEST(LinuxPlaces, NamesTheKindsBelowTheCaches) {
  const LinuxPlaces places(
      linuxDirectories(environmentOf({{"HOME", "/h"}, {"XDG_CACHE_HOME", "/c"}})), "");
  bool named = false;
  for (const auto& kind : places.kindTable()) named |= kind.preset.mountDirectory == "/c/mozilla";
  EXPECT_TRUE(named);
}
