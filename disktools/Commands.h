#pragma once
// The program as a function, and the closed set of what it does: each applet, its verbs, their
// options. Words that are not in the set are refused before anything is tried.

#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "disktools/Caller.h"
#include "disktools/Result.h"

namespace disktools {

struct Option {
  std::string_view name;  // with its dash
  bool takesValue = false;
  bool required = false;
};

struct Arguments {
  std::vector<std::pair<std::string, std::string>> options;  // as given, the value empty for none
  std::vector<std::string> operands;

  bool has(std::string_view option) const;
  std::string value(std::string_view option) const;  // the last one given
  std::vector<std::string> values(std::string_view option) const;
};

struct Request {
  const Caller& caller;
  const Arguments& arguments;
  std::ostream& out;
  std::ostream& err;
};

struct Command {
  std::string_view applet;
  std::string_view verb;  // the applet's first argument, empty for an applet that has none
  std::string_view synopsis;
  std::string_view summary;
  std::span<const Option> options;
  std::size_t operands;  // exactly so many
  Outcome (*act)(const Request&);

  std::string title() const;  // "hdiutil: attach"
};

std::span<const Command> commands();

// The command of this verb or else the applet's one without a verb; nullptr for none.
const Command* findCommand(std::string_view applet, std::string_view verb);

// Options may stand anywhere; after "--" everything is an operand.
Result<Arguments> parseArguments(const Command& command, std::span<const std::string> words);

// The applet's usage, every applet's when the name is empty or unknown.
std::string usage(std::string_view applet);

// What each command does once its words are understood. Each one takes the lock, looks at the
// devices anew, checks that the caller may, acts, and reports: results on `out`, a failure as the
// problem it returns, after which nothing has changed unless the problem says so.
Outcome attach(const Request& request);
Outcome detach(const Request& request);
Outcome info(const Request& request);
Outcome newFilesystem(const Request& request);
Outcome mountDevice(const Request& request);
Outcome changeMount(const Request& request);
Outcome unmountDevice(const Request& request);
Outcome eraseVolume(const Request& request);
Outcome index(const Request& request);
Outcome purge(const Request& request);

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
