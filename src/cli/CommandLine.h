#pragma once

#include <span>
#include <string>

#include "cli/Context.h"

namespace cli {

// Runs one command, without the program's own name in `args`, and gives its exit status. The
// platform's services are installed before. Main thread.
int run(std::span<const std::string> args, Streams& streams);

// Whether the log is to be shown, which main must know before it installs the services.
bool wantsLog(std::span<const std::string> args);

}  // namespace cli
