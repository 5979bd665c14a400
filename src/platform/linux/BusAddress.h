#pragma once

#include <string>

#include "platform/posix/Environment.h"

namespace platform {

// Where the environment says that the buses are, as addresses of D-Bus. Empty: there is none.
std::string sessionBusAddress(const Environment& environment);
std::string systemBusAddress(const Environment& environment);

}  // namespace platform
