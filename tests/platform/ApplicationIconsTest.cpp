#include <gtest/gtest.h>

#include "platform/linux/ApplicationIcons.h"
#include "tests/support/Scratch.h"

namespace {

TEST(ApplicationIcons, ComeFromTheEntryOfTheProgram) {
  const Scratch system;
  const auto entry = [&](const std::string& name, const std::string& lines) {
    system.file("share/applications/" + name + ".desktop", "[Desktop Entry]\n" + lines);
  };
  const auto firefox = system.executable("bin/firefox", "");
  const auto chromium = system.executable("bin/chromium", "");
  const auto opera = system.executable("bin/opera", "");
  const auto other = system.executable("bin/other", "");
  entry("firefox", "Name=Firefox\nExec=firefox %u\nIcon=firefox-icon\n");
  entry("chromium", "Name=Chromium\nExec=" + chromium + " %U\nIcon=/opt/chromium/128.png\n");
  entry("opera", "Name=Opera\nExec=opera\n");
  entry("other", "Name=Other\nExec=other\nIcon=other\n");

  const auto iconName =
      platform::applicationIcons({{system.path("share/applications")}, {system.path("bin")}});
  EXPECT_EQ(iconName(firefox), "firefox-icon");
  EXPECT_EQ(iconName(chromium), "/opt/chromium/128.png");
  EXPECT_EQ(iconName(opera), std::nullopt) << "its entry names none";
  EXPECT_EQ(iconName(other), std::nullopt) << "none of those that have a name here";
  EXPECT_EQ(iconName(system.path("bin/missing")), std::nullopt);

  entry("opera", "Name=Opera\nExec=opera\nIcon=opera\n");
  EXPECT_EQ(iconName(opera), std::nullopt) << "they are looked for once";
}

}  // namespace
