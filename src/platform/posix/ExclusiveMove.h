#pragma once
// Renaming that never replaces what is there already.

#include <string>

#include "platform/Result.h"

namespace platform {

// Within one file system. Something at `to`, a dangling link included, is the error EEXIST.
Outcome moveExclusively(const std::string& from, const std::string& to);

// The same for file systems whose rename cannot be told not to replace. The new name is taken
// first: by a hard link, by an empty directory that the rename may replace.
Outcome moveExclusivelyInSteps(const std::string& from, const std::string& to);

}  // namespace platform
