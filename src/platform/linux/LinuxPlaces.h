#pragma once

#include <string>

#include "platform/Places.h"
#include "platform/linux/LinuxDirectories.h"

namespace platform {

class LinuxPlaces : public Places {
 public:
  LinuxPlaces(LinuxDirectories directories, std::string tools)
      : directories_(std::move(directories)), tools_(std::move(tools)) {}

  std::string tool(Tool tool) const override;
  std::optional<std::string> home() const override { return directories_.home; }
  std::vector<std::string> applicationSupportDirectories() const override;
  std::vector<std::string> cachesDirectories() const override;
  std::string preferencesDirectory() const override { return directories_.configuration; }
  std::string volumesDirectory() const override { return "/run/media/" + directories_.user; }
  std::string usersDirectory() const override { return "/home"; }
  std::vector<std::string> protectedDirectories() const override;
  std::vector<std::string> libraryPrefixes() const override;
  std::vector<std::string> allowedLibraryPrefixes() const override { return {}; }
  bool isVolumeType(std::string_view type) const override;
  KindTable kindTable() const override;

 private:
  const LinuxDirectories directories_;
  const std::string tools_;  // the folder of the disk tools
};

}  // namespace platform
