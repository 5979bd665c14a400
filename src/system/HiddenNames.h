#pragma once
// Names that the system keeps in folders and volumes for itself. Names are compared whole and with
// case; lengths are in bytes. Any thread.

#include <cstddef>
#include <cstdint>

// Names that listings, backups and clean-ups leave out. With bit 0 of the mode set, ".DS_Store" and
// the custom-icon file are not among them.
bool QVIsFilenameHiddenExcluded(const char* name, std::size_t length, std::int64_t mode);
// What a file system keeps at its root.
bool QVIsVolumeHiddenFilename(const char* name, std::size_t length);
// What the start-up volume keeps at its root; fewer names with a mode other than 0.
bool QVIsVolumeSystemHiddenFilename(const char* name, std::size_t length, std::int64_t mode);
