#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/LinuxDirectories.h"

namespace platform {

struct InstalledApplication {
  std::string name;        // for people
  std::string executable;  // absolute, links not resolved
  std::string iconName{};  // in the icon theme, or an absolute path; empty for none
};

// Where applications are looked for, as LinuxDirectories gives it.
struct ApplicationFolders {
  std::vector<std::string> entries;      // of desktop entries, the best first
  std::vector<std::string> executables;  // of programs that an entry names without a path
};

// A program by its absolute path, or by its name in one of the folders.
std::optional<std::string> findProgram(const std::string& name,
                                       const std::vector<std::string>& folders);

// nullopt when no entry of the application leads to a program.
std::optional<InstalledApplication> installedApplication(std::string_view bundleIdentifier,
                                                         const ApplicationFolders& folders);

// Where a program's processes have their executables: the file itself, links resolved, or, for one
// that another file starts, a file of like name beside it or in a folder that bears its name.
struct ProgramFiles {
  std::string executable;  // empty when it is the launcher of many programs
  std::vector<std::string> folders;
  bool foldersAreItsOwn = false;  // so that everything below them belongs to it

  bool hold(const std::string& path) const;
};

ProgramFiles filesOfProgram(const std::string& executable);

}  // namespace platform
