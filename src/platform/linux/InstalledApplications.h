#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// Ends of bundle identifiers: the same application, as that package system installs it. Without
// either, a browser is the one that the system's own packages or its maker's brought.
inline constexpr std::string_view kFlatpakEnd = ".flatpak";
inline constexpr std::string_view kSnapEnd = ".snap";

struct InstalledApplication {
  std::string name;        // for people; empty where its entry gives none
  std::string executable;  // absolute, links not resolved
  std::string iconName{};  // in the icon theme, or an absolute path; empty for none
};

// Where applications are looked for, as LinuxDirectories gives it.
struct ApplicationFolders {
  std::vector<std::string> entries;      // of desktop entries, the best first
  std::vector<std::string> executables;  // of programs that an entry names without a path
};

// nullopt when no entry of the application leads to a program.
std::optional<InstalledApplication> installedApplication(std::string_view bundleIdentifier,
                                                         const ApplicationFolders& folders);

// Every bundle identifier that can be looked for.
const std::vector<std::string>& namedApplications();

// A program by its absolute path, or by its name in one of the folders.
std::optional<std::string> findProgram(const std::string& name,
                                       const std::vector<std::string>& folders);

// A program of this product, which lies beside the running one; nullopt for an identifier that is
// none of ours. Its copies run this very file: one that is installed elsewhere is another's.
std::optional<InstalledApplication> ownProgram(std::string_view bundleIdentifier);

// Every file that copies of it run: the helper becomes another program to show its menu. Empty for
// an identifier that is none of ours.
std::vector<std::string> ownExecutables(std::string_view bundleIdentifier);

// A path below the folder that the programs are installed in, such as "share/tarnvale".
std::string installedPath(std::string_view relative);

// The icon that the desktop entry of an application names, by the executable's path as Applications
// gives it: a name in the icon theme or an absolute path. It knows the applications that can be
// looked for and looks for them once, when it is first asked. Any thread.
using ApplicationIcons = std::function<std::optional<std::string>(const std::string& executable)>;

ApplicationIcons applicationIcons(const ApplicationFolders& folders);

// In the folders that this process's environment tells.
ApplicationIcons applicationIcons();

}  // namespace platform
