#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Places.h"
#include "platform/posix/Environment.h"

namespace platform {

// The user's directories by freedesktop.org's base directories. Absolute and without a
// trailing slash; what the environment names by a relative path counts as not named.
struct LinuxDirectories {
  std::string user;
  std::optional<std::string> home;
  // Empty where neither the environment nor a home says.
  std::string data;
  std::string configuration;
  std::string caches;
  std::vector<std::string> applications;          // of desktop entries, the user's own first
  std::vector<std::string> executables;           // of PATH
  std::vector<std::string> systemConfigurations;  // for all users, the best first
};

// The user database stands in for a home that the environment does not name.
LinuxDirectories linuxDirectories(const Environment& environment);

// The kinds of RAM disk on Linux: the browsers, whose caches lie below `caches`, the user's cache
// directory, or in `home` where the package system put them that installed the browser. The
// applications of the other kinds are never installed here. Paths are absolute and have no slash at
// their end.
KindTable linuxKindTable(const std::string& home, const std::string& caches);

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
