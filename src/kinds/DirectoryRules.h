#pragma once

#include <string_view>

namespace kinds {

// Whether the path is one of the system's own directories or below one.
bool isSystemDirectory(std::string_view path);

// Whether the path is one of the user's settings and data that must stay on the disk. Compared as
// text: a sibling whose name only begins like the library's counts too. Never where the home
// directory is unknown.
bool isKeptLibraryDirectory(std::string_view path);

// Takes the rules anew from the installed services, for tests.
void forgetDirectoryRules();

}  // namespace kinds
