#pragma once
// The kernel's table of mounts, see proc(5), mountinfo.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"

namespace platform {

// One line of the table. The views point into the text it was read from and still hold the
// table's escapes.
struct MountLine {
  std::uint64_t identifier = 0;
  std::uint64_t parent = 0;  // of the mount that this one lies on
  std::string_view device;   // "major:minor"
  std::string_view mountedOn;
  std::string_view type;
  std::string_view source;
};

// The table of this process, as text. Asked for often: it costs a few system calls and one buffer.
Result<std::string> readMountTable();

// nullopt for a line that does not have the table's form.
std::optional<MountLine> parseMountLine(std::string_view line);

// The newest mounts first; of several that cover one another at a path the visible one comes before
// the others, in whichever order they were made.
std::vector<MountLine> parseMountTable(std::string_view text);

// Blank, tab, line end and backslash stand in the table as a backslash and three octal digits.
std::string withoutMountEscapes(std::string_view field);

// The device node that a loop device stands in for, by its backing file's name: "/dev/disk4" for
// "/memfd:tarnvale-disk4 (deleted)", a file in memory that never had a name in a folder.
std::optional<std::string> nodeOfBackingFile(std::string_view name);

}  // namespace platform
