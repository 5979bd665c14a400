#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/InstalledApplication.h"

namespace platform {

// A program of this product, which lies beside the running one; nullopt for an identifier that is
// none of ours. Its copies run this very file: one that is installed elsewhere is another's.
std::optional<InstalledApplication> ownProgram(std::string_view bundleIdentifier);

// Every file that copies of it run: the helper becomes another program to show its menu. Empty for
// an identifier that is none of ours.
std::vector<std::string> ownExecutables(std::string_view bundleIdentifier);

// A path below the folder that the programs are installed in, such as "share/tarnvale".
std::string installedPath(std::string_view relative);

}  // namespace platform
