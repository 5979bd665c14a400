#pragma once
// The kernel's table of mounts, see proc(5), mountinfo. One reader for the engine and the disk
// tools.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One line of the table. The views point into the text it was read from and still hold the
// table's escapes.
struct MountLine {
  std::uint64_t identifier = 0;
  std::uint64_t parent = 0;  // of the mount that this one lies on
  std::string_view device;   // "major:minor" of the file system, which all its mounts share
  std::string_view root;     // the directory of the file system that is shown, "/" for all of it
  std::string_view mountedOn;
  std::string_view type;
  std::string_view source;
};

// The table of a process's mount namespace, as text; nullopt with errno set. The process is a
// folder of proc(5), this one when none is given. Asked for often: it costs a few system calls and
// one buffer.
std::optional<std::string> readMountTable(const std::string& process = "/proc/self");

// The lines in the order of the table, without those that do not have its form.
std::vector<MountLine> parseMountTable(std::string_view text);

// The newest mounts first; of several that cover one another at a path the visible one comes before
// the others, in whichever order they were made.
std::vector<MountLine> visibleFirst(std::vector<MountLine> lines);

// Blank, tab, line end and backslash stand in the table as a backslash and three octal digits.
std::string withoutMountEscapes(std::string_view field);
