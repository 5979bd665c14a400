#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

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

}  // namespace platform
