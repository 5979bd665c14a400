#pragma once

#include "disktools/Commands.h"
#include "tests/support/Test.h"

struct Outcome {
  int status = 0;
  std::string out;
  std::string err;
};

using Words = std::vector<std::string>;

constexpr disktools::Caller kRoot{0, 0};
constexpr disktools::Caller kUser{1000, 1000};
constexpr disktools::Caller kStranger{1001, 1001};

// One command in this process, or the built program under its own name with `real` as the real
// user and root's rights, as it has when it is installed set-user-ID.
Outcome tool(const std::string& applet, const Words& words, disktools::Caller caller = kRoot);
Outcome program(const std::string& applet, const Words& words, disktools::Caller real = kRoot);

// Only root of the whole machine can act for other users and has block devices; root of a user
// namespace, as which these tests run for anyone else, has not.
bool isRealRoot();

// It failed, and said so in these words.
bool isRefused(const Outcome& outcome, const std::string& told);

struct Image {
  std::string path;
  std::string node;
  std::optional<std::string> mountPoint;
  bool operator==(const Image&) const = default;
};

// What "hdiutil attach -plist" and "hdiutil info -plist" print; fails the test on any other form.
Image attachedIn(const std::string& text);
std::vector<Image> images(disktools::Caller caller = kRoot);

// A scratch folder to mount in. Every device is gone before and after.
class Disks : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(images(), std::vector<Image>{}); }
  void TearDown() override;

  // A formatted device of this many megabytes.
  static std::string disk(int megabytes = 4, disktools::Caller caller = kRoot,
                          const std::string& backing = "tmpfs");
  static Outcome mount(const std::string& node, const std::string& path,
                       disktools::Caller caller = kRoot);
  // The path of a directory of this name, made and with the device mounted over it.
  std::string mounted(const std::string& node, const std::string& name) const;
  // A directory that belongs to the caller, in one that everyone may pass through.
  std::string directoryOf(disktools::Caller owner, const std::string& name) const;

  Scratch scratch;
};
