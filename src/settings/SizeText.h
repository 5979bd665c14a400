#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace settings {

// Bytes of "512M", "1.5G", "800MB", "2GiB" or "1000000000"; K, M, G and T are decimal with or
// without a B, KiB to TiB binary, all in any case. Fractions of a byte are dropped. nullopt for
// nothing, 0, signs, other units and what exceeds 63 bits.
std::optional<std::uint64_t> bytesFromText(std::string_view text);

// "1.5 GB", decimal.
std::string sizeText(std::uint64_t bytes);

}  // namespace settings
