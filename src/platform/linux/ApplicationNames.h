#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Who installed an application. It decides where the application keeps its files.
enum class Packaging { Anyone, System, Flatpak, Snap };

// Ends of bundle identifiers: the same application, as that package system installs it. Without
// either, a browser is the one that the system's own packages or its maker's brought.
inline constexpr std::string_view kFlatpakEnd = ".flatpak";
inline constexpr std::string_view kSnapEnd = ".snap";

// How to find an application. Without entries it is not made for Linux.
struct ApplicationNames {
  // Of desktop entries, without ".desktop", the best first.
  std::vector<std::string> entries{};
  Packaging packaging = Packaging::Anyone;
};

ApplicationNames applicationNames(std::string_view bundleIdentifier);

// Every bundle identifier that has such names.
const std::vector<std::string>& namedApplications();

}  // namespace platform
