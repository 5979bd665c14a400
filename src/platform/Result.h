#pragma once
// How calls of the engine say that they failed. The seam's errors are the system's (SystemError);
// other rooms name their own. Beside this there is only QVError, the record that an action's
// failure leaves for the user.

#include <cstdint>
#include <string>

#include "leaf/Result.h"

namespace platform {

// An error of the operating system, as a value. `domain` says what `code` counts: "POSIX" for errno
// values, "Cocoa" or "OSStatus" for those of the macOS frameworks. `text` is for people and names
// the file or call concerned.
struct SystemError {
  std::string domain;
  std::int64_t code = 0;
  std::string text;

  bool operator==(const SystemError&) const = default;
};

template <class T, class E = SystemError>
using Result = leaf::Result<T, E>;
using Outcome = Result<void>;

}  // namespace platform
