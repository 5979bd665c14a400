#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/linux/InstalledApplication.h"

namespace platform {

// The icon that the desktop entry of an application names, by the executable's path as Applications
// gives it: a name in the icon theme or an absolute path. It knows the applications that have a
// name in ApplicationNames and looks for them once, when it is first asked. Any thread.
using ApplicationIcons = std::function<std::optional<std::string>(const std::string& executable)>;

ApplicationIcons applicationIcons(const ApplicationFolders& folders);

// In the folders that this process's environment tells.
ApplicationIcons applicationIcons();

}  // namespace platform
