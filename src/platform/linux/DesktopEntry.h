#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

// An application as the desktop knows it, from a file ".desktop".
struct DesktopEntry {
  std::string name;
  std::string executable;  // the program of the command line, a path or a name to look for in PATH
  std::string tried;       // without it the entry counts as not installed; empty for no such rule
  std::string icon;        // a name in the icon theme or an absolute path; empty for none
};

// nullopt when the text is no entry of an application, or one that its user has hidden.
std::optional<DesktopEntry> parseDesktopEntry(std::string_view text);

// The program of a command line. Quotes are undone; "env" with its settings is passed over.
std::string programOfCommand(std::string_view command);

}  // namespace platform
