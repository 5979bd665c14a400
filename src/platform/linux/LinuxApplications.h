#pragma once

#include <map>
#include <mutex>

#include "platform/Applications.h"
#include "platform/linux/InstalledApplication.h"

namespace platform {

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
  std::optional<std::string> askedVersionOnce(const std::string& path,
                                              const ProgramFiles& files) const;
  bool signal(const RunningApplication& application, int signal) const;

  const ApplicationFolders folders_;
  mutable std::mutex mutex_;  // guards what follows
  mutable std::map<std::string, KeptVersion> versions_;
};

}  // namespace platform
