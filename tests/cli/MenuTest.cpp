#include <gtest/gtest.h>

#include <filesystem>

#include "tests/cli/Shell.h"

namespace {

class MenuTest : public testing::Test {
 protected:
  MenuTest() {
    shell.scratch.directory("desk/cache");
    shell.run({"add", "~~/desk/cache", "--size", "200M"});
    shell.scratch.directory("gone/two");
    shell.run({"add", "~~/gone/two", "--size", "200M"});
    std::filesystem::remove_all(shell.scratch.path("gone"));
  }
  // In place of the program that draws, beside the disk tools.
  void putTray(const std::string& script) {
    shell.doubles.places->tools[platform::Tool::Attacher] = shell.scratch.path("libexec/hdiutil");
    shell.scratch.executable("libexec/tarnvale-tray", "#!/bin/sh\n" + script + "\n");
  }
  std::string identifier() {
    auto found = valuesOf(shell.run({"show", "cache", "--json"}).out, "identifier").at(0);
    return found.substr(1, found.size() - 2);
  }

  Shell shell;
};

TEST_F(MenuTest, AsText) {
  const auto plain = shell.run({"menu"});
  EXPECT_EQ(plain.status, 0);
  EXPECT_EQ(plain.err, "");
  const std::string before = "Open Tarnvale\n---\nCreate All\nEject All (disabled)\n---\n";
  EXPECT_TRUE(plain.out.starts_with(before + "cache")) << plain.out;
  EXPECT_TRUE(plain.out.ends_with(" >\n---\nQuit Tarnvale Menu\n")) << plain.out;
  const auto opened = shell.run({"menu", "--open", "cac"});
  EXPECT_NE(opened.out.find(" >\n  Create\ntw"), std::string::npos) << opened.out;
}

TEST_F(MenuTest, WhyAnItemIsDisabled) {
  shell.doubles.machine->pages = platform::VirtualMemoryPages{.pageSize = 4096, .free = 1 << 18};
  const auto shown = shell.run({"menu", "--open", "tw"});
  EXPECT_NE(shown.out.find("\n  Create (disabled: The mount directory does not exist.)\n"),
            std::string::npos)
      << shown.out;
  EXPECT_NE(shown.out.find("\nMemory Statistics (disabled)\n    Wired"), std::string::npos);
}

TEST_F(MenuTest, AsJson) {
  const auto shown = shell.run({"menu", "--json", "--open", identifier()});
  EXPECT_EQ(shown.status, 0);
  EXPECT_EQ(valuesOf(shown.out, "separator"),
            (std::vector<std::string>{"false", "true", "false", "false", "true", "false", "false",
                                      "false", "true", "false"}));
  EXPECT_EQ(
      valuesOf(shown.out, "action"),
      (std::vector<std::string>{"\"mi_openRamDiskApp:\"", "\"mi_performAllAction:\"",
                                "\"mi_performAllAction:\"", "\"mi_openRamDisk:\"", "\"mi_menu:\"",
                                "\"mi_openRamDisk:\"", "\"mi_quitHelper:\""}));
  EXPECT_EQ(valuesOf(shown.out, "submenu").size(), 1U);
}

TEST_F(MenuTest, APictureIsDrawnByTheProgramBesideTheTools) {
  putTray("echo \"$@\"; echo trouble >&2; exit 7");
  const auto drawn = shell.run({"menu", "--png", "a b.png", "--dark", "--open", "cache"});
  EXPECT_EQ(drawn.status, 7);
  EXPECT_EQ(drawn.out, "--picture a b.png --dark --open " + identifier() + "\n");
  EXPECT_EQ(drawn.err, "trouble\n");
  EXPECT_EQ(shell.run({"menu", "--png", "x"}).out, "--picture x\n");
}

TEST_F(MenuTest, WhatItRefuses) {
  const auto missing = shell.run({"menu", "--png", "x"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("tarnvale-tray, which draws the menu, cannot be run"),
            std::string::npos)
      << missing.err;
  EXPECT_EQ(shell.run({"menu", "--open", "none"}).status, 3);
  EXPECT_EQ(shell.run({"menu", "--dark"}).status, 2);
  EXPECT_EQ(shell.run({"menu", "--png", "x", "--json"}).status, 2);
}

TEST_F(MenuTest, ALookChangesNothing) {
  const std::string before = shell.registry();
  const auto posted = shell.doubles.notifications->posted.size();
  shell.run({"menu", "--open", "cache"});
  EXPECT_EQ(shell.registry(), before);
  EXPECT_EQ(shell.doubles.notifications->posted.size(), posted);
  EXPECT_EQ(shell.doubles.notifications->observerCount(), 0U);
}

}  // namespace
