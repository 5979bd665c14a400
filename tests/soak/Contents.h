#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace soak {

// One version of one file. The file keeps its number when it is renamed.
struct Content {
  unsigned file = 0;
  unsigned version = 0;
  std::size_t size = 0;  // bytes

  bool operator==(const Content&) const = default;
};

// Lines of equal length that name the file, the version and themselves, cut at the size, so that
// no piece of one version can stand in for a piece of another.
std::string textOf(const Content& content);

// What the bytes are, for a report: whose they are, and where they stop being that.
std::string describe(std::string_view bytes);

}  // namespace soak
