#pragma once
// Where things lie on macOS, as far as that is the same on every machine, and its kinds of disk.
// Paths are absolute and without a trailing slash.

#include <string>
#include <vector>

#include "platform/KindTable.h"

namespace platform {

// What no RAM disk is mounted over nor below.
std::vector<std::string> macProtectedDirectories();

// Path prefixes, compared as text, of the user's settings and data, and of what may be mounted over
// within them.
std::vector<std::string> macLibraryPrefixes(const std::string& home);
std::vector<std::string> macAllowedLibraryPrefixes(const std::string& home);

inline constexpr char kMacVolumesDirectory[] = "/Volumes";
inline constexpr char kMacUsersDirectory[] = "/Users";

// The kinds of RAM disk on macOS.
KindTable macKindTable(const std::string& home);

}  // namespace platform
