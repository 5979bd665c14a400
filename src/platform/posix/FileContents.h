#pragma once
// What files and folders hold, as a whole: read, listed, replaced, and brought onto the device.

#include <string>
#include <string_view>
#include <vector>

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

struct DirectoryEntry {
  std::string name;
  bool isDirectory = false;  // a link to one is none
};

// What an open directory holds, without "." and "..", in no particular order. The descriptor must
// not have been read from; it stays the caller's. `path` is for the error's text.
Result<std::vector<DirectoryEntry>> listDirectory(int directory, std::string_view path);

// --- Onto the device, past the caches of kernel and drive

// The contents of one file. false with errno set.
bool flushFile(int descriptor);

// The names in a folder. File systems that keep names safe by themselves and refuse to flush a
// folder count as flushed. false with errno set.
bool flushNamesOf(const std::string& folder);

// All of the file system that holds the folder, whoever wrote it.
Outcome flushFileSystem(const std::string& folder);

}  // namespace platform
