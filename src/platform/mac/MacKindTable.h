#pragma once

#include <string>

#include "platform/KindTable.h"

namespace platform {

// The kinds of RAM disk on macOS. `home` is absolute and has no slash at its end.
KindTable macKindTable(const std::string& home);

}  // namespace platform
