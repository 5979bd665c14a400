#pragma once

#include <ctime>
#include <tuple>

namespace copier {

inline bool isBefore(const timespec& a, const timespec& b) {
  return std::tie(a.tv_sec, a.tv_nsec) < std::tie(b.tv_sec, b.tv_nsec);
}

inline bool isSame(const timespec& a, const timespec& b) {
  return std::tie(a.tv_sec, a.tv_nsec) == std::tie(b.tv_sec, b.tv_nsec);
}

}  // namespace copier
