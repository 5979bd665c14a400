#pragma once
// The program as a function.

#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

#include "disktools/Caller.h"

namespace disktools {

inline constexpr int kFailed = 1;
inline constexpr int kWrongUsage = 64;  // EX_USAGE of sysexits.h

// Runs one command for the caller with the rights that the process has: root's, or those of the
// root of a user namespace with mounts of its own. Gives the exit status: 0, kFailed, or
// kWrongUsage when nothing was tried. What failed stands on `err`, on lines that begin with the
// command's name.
int run(std::string_view applet, std::span<const std::string> words, const Caller& caller,
        std::ostream& out, std::ostream& err);

// The same from a program's arguments: the name it was called by is the applet, or its first
// argument when that name is the program's own.
int runProgram(std::span<const std::string> words, const Caller& caller, std::ostream& out,
               std::ostream& err);

}  // namespace disktools
