#pragma once
// The one place where an errno becomes an error of the seam.

#include <string_view>

#include "platform/Result.h"

namespace platform {

// Domain "POSIX"; the text reads "<what>: No such file or directory", `what` being the path or the
// call concerned.
SystemError posixError(int code, std::string_view what);

// The same of the calling thread's errno.
SystemError lastPosixError(std::string_view what);

}  // namespace platform
