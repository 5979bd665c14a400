#pragma once
// errno values as the system's words for them and as errors.

#include <string>
#include <string_view>
#include <system_error>

#include "platform/Result.h"

inline std::string errnoText(int code) { return std::generic_category().message(code); }

// `what` is the path or the call concerned.
inline platform::SystemError errnoError(int code, std::string_view what) {
  return {"POSIX", code, std::string(what) + ": " + errnoText(code)};
}
