#include "system/copier/FileContents.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace copier {
namespace {

constexpr std::size_t kBuffer = 256 << 10;
constexpr off_t kLong = 32 << 10;   // from here on the kernel copies in less time than a buffer
constexpr off_t kSlice = 16 << 20;  // copied inside the kernel between two reports of progress
constexpr blkcnt_t kCountedBlock = 512;  // what st_blocks counts in, everywhere

bool hasHoles(const struct stat& facts) { return facts.st_blocks < facts.st_size / kCountedBlock; }

}  // namespace

FileContents::FileContents(const platform::FileCopying& kernel, CopyTally& tally)
    : kernel_(kernel),
      tally_(tally),
      buffer_(std::make_unique_for_overwrite<std::byte[]>(kBuffer)) {}

bool FileContents::copy(int from, int to, const struct stat& facts) {
  from_ = from;
  to_ = to;
  copied_ = 0;
  readFailed_ = false;
  return hasHoles(facts) ? copyWithHoles(facts.st_size) : copyRange(0, facts.st_size);
}

bool FileContents::copyWithHoles(off_t size) {
  for (off_t at = 0; at < size;) {
    const off_t data = lseek(from_, at, SEEK_DATA);
    if (data < 0 && errno != ENXIO) return copyRange(at, size);  // holes cannot be asked for
    if (data < 0 || data >= size) break;
    const off_t hole = lseek(from_, data, SEEK_HOLE);
    const off_t end = hole < 0 ? size : std::min(hole, size);
    if (!copyRange(data, end)) return false;
    at = end;
  }
  struct stat now {};
  return fstat(from_, &now) == 0 && ftruncate(to_, std::min(size, now.st_size)) == 0;
}

bool FileContents::copyRange(off_t at, off_t end) {
  if (end - at > kLong) at = copyInKernel(at, end);
  return copyThroughBuffer(at, end);
}

// Gives where it stopped.
off_t FileContents::copyInKernel(off_t at, off_t end) {
  while (at < end) {
    const auto wanted = static_cast<std::uint64_t>(std::min(kSlice, end - at));
    const auto copied = kernel_.copyContents(from_, to_, static_cast<std::uint64_t>(at), wanted);
    count(copied);
    at += static_cast<off_t>(copied);
    if (copied < wanted) break;
  }
  return at;
}

bool FileContents::copyThroughBuffer(off_t at, off_t end) {
  while (at < end) {
    const auto wanted = std::min(kBuffer, static_cast<std::size_t>(end - at));
    const ssize_t got = pread(from_, buffer_.get(), wanted, at);
    if (got < 0 && errno == EINTR) continue;
    readFailed_ = got < 0;
    if (got <= 0) return got == 0;
    if (!write(at, {buffer_.get(), static_cast<std::size_t>(got)})) return false;
    count(static_cast<std::uint64_t>(got));
    at += got;
  }
  return true;
}

bool FileContents::write(off_t at, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = pwrite(to_, bytes.data(), bytes.size(), at);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    at += written;
  }
  return true;
}

void FileContents::count(std::uint64_t bytes) {
  copied_ += bytes;
  tally_.addBytes(bytes);
}

}  // namespace copier
