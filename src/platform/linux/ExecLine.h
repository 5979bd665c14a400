#pragma once
// Command lines of desktop entries, by the rules of freedesktop.org for them: a value is
// escaped as a string (\s \n \t \r \\), and the text so read is quoted as a command line, with
// field codes such as %u.

#include <optional>
#include <string>
#include <string_view>

namespace platform {

// The text that a value stands for.
std::string unescapedValue(std::string_view value);
std::string escapedValue(std::string_view text);

// The program that the value of "Exec" starts, a path or a name to look for in PATH; "env" with its
// settings is passed over. nullopt for none, and for a quote without its end.
std::optional<std::string> programOfExec(std::string_view value);

// The value of "Exec" that starts the program without arguments.
std::string execOfProgram(std::string_view path);

}  // namespace platform
