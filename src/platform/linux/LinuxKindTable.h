#pragma once

#include <string>

#include "platform/KindTable.h"

namespace platform {

// The kinds of RAM disk on Linux: the browsers, whose caches lie below `caches`, the user's cache
// directory, or in `home` where the package system put them that installed the browser. The
// applications of the other kinds are never installed here. Paths are absolute and have no slash at
// their end.
KindTable linuxKindTable(const std::string& home, const std::string& caches);

}  // namespace platform
