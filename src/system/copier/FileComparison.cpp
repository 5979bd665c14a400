#include "system/copier/FileComparison.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace copier {
namespace {

constexpr std::size_t kHalf = 128 << 10;
constexpr std::size_t kUnread = static_cast<std::size_t>(-1);

}  // namespace

bool FileComparison::same(int a, int b) {
  return system_.sameAttributes(a, b) && sameContents(a, b);
}

bool FileComparison::sameContents(int a, int b) {
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<std::byte[]>(2 * kHalf);
  std::byte* const other = buffer_.get() + kHalf;
  for (off_t at = 0;; at += static_cast<off_t>(kHalf)) {
    const std::size_t size = read(a, at, buffer_.get());
    if (size == kUnread || size != read(b, at, other)) return false;
    if (!std::equal(other, other + size, buffer_.get())) return false;
    if (size < kHalf) return true;
  }
}

// As much as there is, up to half the buffer.
std::size_t FileComparison::read(int file, off_t at, std::byte* into) const {
  std::size_t got = 0;
  while (got < kHalf) {
    const ssize_t count = pread(file, into + got, kHalf - got, at + static_cast<off_t>(got));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return kUnread;
    if (count == 0) break;
    got += static_cast<std::size_t>(count);
  }
  return got;
}

}  // namespace copier
