#pragma once
// Sizes, paths and commands as people type them.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace settings {

// Bytes of "512M", "1.5G", "800MB", "2GiB" or "1000000000"; K, M, G and T are decimal with or
// without a B, KiB to TiB binary, all in any case. Fractions of a byte are dropped. nullopt for
// nothing, 0, signs, other units and what exceeds 63 bits.
std::optional<std::uint64_t> bytesFromText(std::string_view text);

// "1.5 GB", decimal.
std::string sizeText(std::uint64_t bytes);

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

// The path made absolute: as it is written, where that leads to the same place, for "link/.." may
// not.
std::string absolutePath(const std::string& path);

// "~" resolved: it stays where a shell did not replace it, as in --directory=~/x.
std::string expandedPath(const std::string& path);

// A command and its arguments as one text, quoted as in a shell: '…' takes all as it stands, in
// "…" and outside of quotes a backslash takes the next character as it stands (in "…" only a
// quote or another backslash). A quote that is never closed reaches to the end.
std::vector<std::string> wordsOfCommand(std::string_view text);

// The text that gives these words again.
std::string commandText(const std::vector<std::string>& words);

}  // namespace settings
