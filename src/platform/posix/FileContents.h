#pragma once

#include <string>
#include <string_view>

#include "platform/Result.h"

namespace platform {

// The whole of a file, links followed. Files of the kernel that tell no size are read to their end.
Result<std::string> readWholeFile(const std::string& path);

// Replaces a file's contents: written beside under another name, flushed, renamed, and the rename
// flushed. A link is followed, so that it still leads to what it led to. An existing file keeps its
// mode and, where the user may say so, its owner; a new one is readable by its owner only. After a
// failure the former contents stand, unless it was the rename itself that could not be flushed.
Outcome replaceWholeFile(const std::string& path, std::string_view bytes);

// Writes all of it, in as many calls as that takes. false with errno set.
bool writeAll(int descriptor, std::string_view bytes);

}  // namespace platform
