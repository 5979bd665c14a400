#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "platform/Desktop.h"
#include "platform/linux/InstalledApplications.h"

namespace platform {

struct DesktopFacts {
  ApplicationFolders applications{};
  std::string sessionBus{};  // its address; empty where there is none
  std::string home{};        // where programs that are opened begin; empty where it is not known
  // A file manager that has to be started first takes its time on a slow disk.
  std::chrono::microseconds fileManagerLimit = std::chrono::seconds(10);
};

// The desktop by the interfaces that all of them share.
class LinuxWorkspace : public Workspace {
 public:
  explicit LinuxWorkspace(DesktopFacts facts = {}) : facts_(std::move(facts)) {}

  // Never: GNOME keeps the icons of folders in a store of its own, others in a file that they put
  // into the folder, which would be saved with the user's files, and none reads this container.
  bool setIconFromFile(const std::string&, const std::string&) override { return false; }

  bool open(const std::string& path) override;
  bool openURL(const std::string& url) override;
  Outcome launch(const std::string& applicationPath,
                 const std::vector<std::string>& arguments) override;
  // By org.freedesktop.FileManager1. The bus starts a file manager that does not run.
  Outcome showInformation(const std::string& path) override;

  std::string displayName(const std::string& path) const override;
  bool isDirectory(const std::string& path) const override;
  bool isVolume(const std::string& path) const override;  // what a file is mounted over counts too
  std::vector<FileLabel> fileLabels() const override;

 private:
  bool isApplication(const std::string& path) const;
  bool handOver(const std::string& target) const;

  const DesktopFacts facts_;
};

}  // namespace platform
