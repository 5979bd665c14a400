#pragma once
// Getting what was written onto the device, past the caches of kernel and drive.

#include <string>

#include "platform/Result.h"

namespace platform {

// The contents of one file. false with errno set.
bool flushFile(int descriptor);

// The names in a folder. File systems that keep names safe by themselves and refuse to flush a
// folder count as flushed. false with errno set.
bool flushNamesOf(const std::string& folder);

// All of the file system that holds the folder, whoever wrote it.
Outcome flushFileSystem(const std::string& folder);

}  // namespace platform
