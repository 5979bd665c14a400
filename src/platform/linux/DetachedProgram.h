#pragma once

#include <string>
#include <vector>

#include "platform/Result.h"

namespace platform {

// Starts a program that is nobody's child: it outlives this one and leaves nothing to be reaped.
// It works in `directory`, or in "/" where that cannot be entered, reads and writes nothing, and
// gets no descriptor and no signal setting of ours. `command` is the program's absolute path and
// its arguments; no shell sees them. An error names what could not be started.
Outcome startDetached(const std::vector<std::string>& command, const std::string& directory);

}  // namespace platform
