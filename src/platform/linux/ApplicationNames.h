#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform {

// The names of the desktop entries, without ".desktop", under which distributions and package
// systems ship an application of this bundle identifier; the best first, none for an application
// that is not made for Linux.
std::vector<std::string> desktopNames(std::string_view bundleIdentifier);

}  // namespace platform
