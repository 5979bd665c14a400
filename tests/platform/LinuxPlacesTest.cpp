#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <array>

#include "platform/linux/LinuxPlaces.h"
#include "tests/support/Variables.h"

using namespace platform;

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
