#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "cli/ExitStatus.h"
#include "cli/Streams.h"

namespace cli {

// What every verb is given: the streams and the options that hold for all of them.
class Context {
 public:
  explicit Context(Streams& usedStreams) : streams(usedStreams) {}

  // One line on the error stream: "tarnvale: what; todo". Gives the status to end with.
  int refuse(const Refusal& refusal);
  int refuse(ExitStatus status, std::string what, std::string todo = {});
  void warn(std::string_view text);

  // A line of result, unless the command is to be quiet.
  void say(std::string_view text);

  // Asks on the terminal; only "y" and "yes" agree. With --yes agrees at once. Without a terminal
  // to ask on, refuses and says that --yes is needed; `what` names what would be done. nullopt:
  // agreed.
  std::optional<int> confirm(bool yes, std::string_view what);

  Streams& streams;
  bool quiet = false;
  bool verbose = false;

 private:
  void writeProblem(std::string_view text);
};

}  // namespace cli
