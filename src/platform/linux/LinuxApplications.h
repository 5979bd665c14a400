#pragma once

#include <chrono>
#include <map>
#include <mutex>

#include "platform/Desktop.h"
#include "platform/linux/InstalledApplications.h"

namespace platform {

// The version that a program prints when it is asked to with "--version": the first number with a
// dot in its output, "115.3.0" of "Some Browser 115.3.0esr (64-bit)". nullopt when it prints none,
// cannot be started, or has not closed its output within the time. Nothing of it runs on when this
// returns.
std::optional<std::string> askedVersion(const std::string& executable,
                                        std::chrono::milliseconds limit);

// Applications as their desktop entries describe them; installed ones are looked for anew at each
// question. Both version entries give one text. A version that the program itself had to be asked
// for, which takes it a while, is kept until its files change.
class LinuxApplications : public Applications {
 public:
  explicit LinuxApplications(ApplicationFolders folders) : folders_(std::move(folders)) {}

  std::optional<std::string> pathOfApplication(std::string_view bundleIdentifier) const override;
  std::optional<std::string> information(const std::string& applicationPath,
                                         std::string_view key) const override;
  std::vector<RunningApplication> running(std::string_view bundleIdentifier) const override;
  bool terminate(const RunningApplication& application) override;
  bool forceTerminate(const RunningApplication& application) override;

 private:
  struct KeptVersion {
    std::string stamp;  // of the program's files when it was asked
    std::string version;
  };

  std::optional<InstalledApplication> installed(std::string_view bundleIdentifier) const;
  // `stamp` changes with the program's files.
  std::optional<std::string> askedVersionOnce(const std::string& path,
                                              const std::string& stamp) const;
  bool signal(const RunningApplication& application, int signal) const;

  const ApplicationFolders folders_;
  mutable std::mutex mutex_;  // guards what follows
  mutable std::map<std::string, KeptVersion> versions_;
};

}  // namespace platform
