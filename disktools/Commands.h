#pragma once
// The closed set of what the program does: each applet, its verbs, their options.

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
  Failure (*act)(const Request&);

  std::string title() const;  // "hdiutil: attach"
};

std::span<const Command> commands();

// The command of this verb or else the applet's one without a verb; nullptr for none.
const Command* findCommand(std::string_view applet, std::string_view verb);

// Options may stand anywhere; after "--" everything is an operand.
Result<Arguments> parseArguments(const Command& command, std::span<const std::string> words);

// The applet's usage, every applet's when the name is empty or unknown.
std::string usage(std::string_view applet);

}  // namespace disktools
