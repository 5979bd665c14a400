#pragma once
// What a desktop gives a program: its user at an alert, its applications, what it shows of files.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"

namespace platform {

struct Alert {
  std::string title;
  std::string text;
  std::vector<std::string> buttons;
};

// A window of the port's own kind.
class Window;

// Tells the user something, or asks. Main thread only.
class Alerts {
 public:
  virtual ~Alerts() = default;

  // Returns when the user has answered, with the index of the button chosen; meanwhile the main
  // loop goes on. A port without a screen writes the alert to standard error and answers 0.
  virtual std::size_t runModal(const Alert& alert) = 0;

  // Shows the alert on the window, returns at once and calls `ended` with the button's index.
  // false, and nothing is shown, where the port has no sheets or there is no window.
  virtual bool runAsSheet(const Alert& /*alert*/, const std::shared_ptr<Window>& /*window*/,
                          const std::function<void(std::size_t)>& /*ended*/) {
    return false;
  }
};

struct RunningApplication {
  std::int64_t processIdentifier = 0;
  std::string bundleIdentifier;
  std::optional<std::string> localizedName;
  std::vector<std::string> arguments{};  // without the program's name; none where nobody tells
};

// Installed and running applications, named by bundle identifier. A platform whose applications
// have none maps each identifier that the engine uses to what it calls that application.
// "Path" stands for the bundle on macOS and for the executable on Linux. Any thread.
class Applications {
 public:
  virtual ~Applications() = default;

  virtual std::optional<std::string> pathOfApplication(std::string_view bundleIdentifier) const = 0;

  // An entry of an installed application's information dictionary, "CFBundleShortVersionString" or
  // "CFBundleVersion" for the engine's part. nullopt when it has none or cannot be read.
  virtual std::optional<std::string> information(const std::string& applicationPath,
                                                 std::string_view key) const = 0;

  // The user's running copies, in no particular order. An empty identifier gives none.
  virtual std::vector<RunningApplication> running(std::string_view bundleIdentifier) const = 0;

  // false when the request could not be delivered. Neither waits for the process to end.
  virtual bool terminate(const RunningApplication& application) = 0;
  virtual bool forceTerminate(const RunningApplication& application) = 0;
};

// A mark in colour that the user may give a file.
struct FileLabel {
  std::string name;
  std::uint32_t colour = 0;  // 0xRRGGBB

  bool operator==(const FileLabel&) const = default;
};

// The desktop, and what it shows of files. What is not overridden answers as where there is no
// desktop. Paths are absolute. Any thread.
class Workspace {
 public:
  virtual ~Workspace() = default;

  // Loads an icon file (an "icns" container) and shows it as the icon of `path`. false when the
  // file holds no picture or the desktop cannot show it.
  virtual bool setIconFromFile(const std::string& iconFile, const std::string& path) = 0;

  // Opens the item as a double click would.
  virtual bool open(const std::string& /*path*/) { return false; }

  // Starts an application, without waiting for it, bringing it to the front, or listing it among
  // the recent ones. `applicationPath` is as Applications gives it.
  virtual Outcome launch(const std::string& applicationPath,
                         const std::vector<std::string>& /*arguments*/) {
    return SystemError{"POSIX", 0, applicationPath + ": applications cannot be started here"};
  }

  // Opens what the address names. Nothing waits, here and above: whether what was started can make
  // anything of it is between that and the user.
  virtual bool openURL(const std::string& /*url*/) { return false; }

  // Has the file manager show its information window; waits until that has accepted.
  virtual Outcome showInformation(const std::string& path) {
    return SystemError{"POSIX", 0, path + ": there is no file manager"};
  }

  // --- What files look like

  // An item's name as file managers show it. The item need not exist.
  virtual std::string displayName(const std::string& path) const {
    return path.substr(path.rfind('/') + 1);
  }

  // Of the item itself: links are not followed. What cannot be looked at is neither.
  virtual bool isDirectory(const std::string& /*path*/) const { return false; }
  virtual bool isVolume(const std::string& /*path*/) const { return false; }

  // The desktop's labels in its order. The first stands for no label.
  virtual std::vector<FileLabel> fileLabels() const { return {}; }
};

}  // namespace platform
