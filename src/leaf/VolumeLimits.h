#pragma once
// How much a volume in memory may hold besides bytes. Inodes take kernel memory beside the size, a
// kilobyte or so each with its directory entry; one for each page keeps that in proportion. The
// disk tools make volumes so, and the engine asks before it fills one.

#include <cstdint>

namespace leaf {

inline constexpr std::uint64_t mostInodes(std::uint64_t bytes) { return 1024 + bytes / 4096; }

}  // namespace leaf
