#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/Result.h"

namespace platform {

// Whether what lies at the path, links followed, is kept on another machine.
Result<bool> isRemoteFileSystem(const std::string& path);

// The same by what identifies a file system: the number that statfs(2) gives for its type, and the
// type's name in the mount table, which alone tells file systems of user programs apart.
bool isRemoteType(std::uint64_t magic, std::string_view name);

}  // namespace platform
