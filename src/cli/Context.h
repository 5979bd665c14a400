#pragma once
// What every verb is given, and what it tells its caller.

#include <functional>
#include <istream>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/Result.h"

namespace cli {

// Where a command reads and writes, and how it may write there.
struct Streams {
  std::istream& in;
  std::ostream& out;
  std::ostream& err;
  bool inIsTerminal = false;
  bool outIsTerminal = false;
  bool errIsTerminal = false;
  bool rewritesLines = false;                      // the terminal understands more than plain lines
  bool color = false;                              // wanted, where the stream is a terminal
  std::function<int()> width = [] { return 80; };  // columns, asked for anew for every drawing
};

// Those of this process, as its environment describes them: TERM=dumb and NO_COLOR are respected.
Streams processStreams();

enum ExitStatus : int {
  kDone = 0,
  kActionFailed = 1,  // also a registry that cannot be read or written
  kWrongUsage = 2,
  kNoSuchDisk = 3,
  kRefused = 4,  // by validation or for a disk in use, before anything was changed
};

// Why a command does not do what it was asked for, and what to do about it. Nothing was changed.
struct Refusal {
  ExitStatus status = kRefused;
  std::string what;
  std::string todo;  // empty where there is nothing to advise
};

using Allowed = platform::Result<void, Refusal>;

// The status of several disks together: the common one, or kActionFailed for different failures.
inline int combined(int before, int now) {
  if (before == kDone || before == now) return now;
  return now == kDone ? before : static_cast<int>(kActionFailed);
}

// The streams and the options that hold for all verbs.
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
  // to ask on, refuses and says that --yes is needed; `what` names what would be done. The error
  // is the status to end with.
  platform::Result<void, int> confirm(bool yes, std::string_view what);

  Streams& streams;
  bool quiet = false;
  bool verbose = false;

 private:
  void writeProblem(std::string_view text);
};

}  // namespace cli
