#pragma once

#include <cstdint>
#include <random>

namespace soak {

// Everything that is left to chance in one round, from a seed and the round's number alone.
class Random {
 public:
  Random(std::uint64_t seed, std::uint64_t round)
      : engine_(seed * 0x9E3779B97F4A7C15ULL + round * 0xD1B54A32D192ED03ULL) {}

  // 0 to most - 1; `most` is not 0.
  std::uint64_t below(std::uint64_t most) { return engine_() % most; }
  bool oneIn(std::uint64_t times) { return below(times) == 0; }

 private:
  std::mt19937_64 engine_;
};

}  // namespace soak
