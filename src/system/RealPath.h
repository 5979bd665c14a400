#pragma once
// Where a path leads. Two paths are compared by these, because a disk's directory, its backup
// folder and a mount may each be reached by several: through links, and on Linux through a second
// mount of the same folder. Both look at the file system; neither fails. Any thread.

#include <string>

// The absolute path without any link in it. What is missing at its end stays as it is written, but
// a link that leads nowhere is followed all the same: what is mounted there makes its target.
std::string realPath(const std::string& path);

// Whether the path is the folder or lies below it. Both are real paths; the same folder by another
// mount counts.
bool liesWithin(const std::string& path, const std::string& folder);
