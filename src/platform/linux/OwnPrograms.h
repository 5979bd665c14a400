#pragma once

#include <optional>
#include <string_view>

#include "platform/linux/InstalledApplication.h"

namespace platform {

// A program of this product, which lies beside the running one; nullopt for an identifier that is
// none of ours. Its copies run this very file: one that is installed elsewhere is another's.
std::optional<InstalledApplication> ownProgram(std::string_view bundleIdentifier);

}  // namespace platform
