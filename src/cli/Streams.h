#pragma once

#include <functional>
#include <istream>
#include <ostream>

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

}  // namespace cli
