#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"

namespace platform {

struct DirectoryEntry {
  std::string name;
  bool isDirectory = false;  // a link to one is none
};

// What an open directory holds, without "." and "..", in no particular order. The descriptor must
// not have been read from; it stays the caller's. `path` is for the error's text.
Result<std::vector<DirectoryEntry>> listDirectory(int directory, std::string_view path);

}  // namespace platform
