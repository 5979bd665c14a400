#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace platform {

// The identifier of the file system on a block device, as an upper-case UUID text. `links` is the
// folder where the system keeps a link to each device under its file system's identifier. nullopt
// for file systems without a device, such as those in memory, and for shorter identifiers.
std::optional<std::string> identifierOfDevice(std::int32_t deviceNumber, const std::string& links);

}  // namespace platform
