#pragma once

#include <string>

namespace platform {

// Whether the user may take the item itself out of its folder: links are not followed, and what a
// folder holds is not looked at. Never what a volume is mounted on.
bool isDeletableItem(const std::string& path);

}  // namespace platform
