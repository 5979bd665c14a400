#pragma once

#include <cstdint>
#include <optional>
#include <string>

// Byte counts as short texts; nullopt for a negative count. The texts are looked up once. Any
// thread.
class QVRamDiskFunctions {
 public:
  static std::optional<std::string> stringFromBytesWithBin1000Style(std::int64_t bytes);
  static std::optional<std::string> stringFromBytesWithBin1024Style(std::int64_t bytes);
};
