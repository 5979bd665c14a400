#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace settings {

// The units that a size is given in.
inline constexpr std::array<const char*, 4> kSizeUnits = {"MB", "GB", "MiB", "GiB"};

// A size as a number and one of the units.
struct SizeParts {
  std::string number;
  std::string unit;
};

// The parts that stand for exactly these bytes, in the unit that makes the shortest number.
SizeParts sizeParts(std::uint64_t bytes);

// Bytes of the parts as somebody writes them: the number with a point or a comma, and spaces
// around.
std::optional<std::uint64_t> bytesOfParts(std::string_view number, std::string_view unit);

}  // namespace settings
