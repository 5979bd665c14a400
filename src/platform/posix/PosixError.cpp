#include "platform/posix/PosixError.h"

#include <cerrno>
#include <string>
#include <system_error>

namespace platform {

SystemError posixError(int code, std::string_view what) {
  return {"POSIX", code, std::string(what) + ": " + std::generic_category().message(code)};
}

SystemError lastPosixError(std::string_view what) { return posixError(errno, what); }

}  // namespace platform
