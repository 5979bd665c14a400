#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/sendfile.h>
#endif

#include <cerrno>

#include "platform/posix/PosixFileCopying.h"

namespace platform {

#if defined(__linux__)

namespace {

// Between file systems of two types the kernel refuses, and sendfile still saves the way through
// this process.
ssize_t copyByRange(int from, int to, off_t at, std::size_t length) {
  off_t source = at;
  off_t destination = at;
  return copy_file_range(from, &source, to, &destination, length, 0);
}

ssize_t copyBySending(int from, int to, off_t at, std::size_t length) {
  if (lseek(to, at, SEEK_SET) != at) return -1;
  off_t source = at;
  return sendfile(to, from, &source, length);
}

template <class Copy>
std::uint64_t repeat(Copy copy, int from, int to, std::uint64_t offset, std::uint64_t length) {
  std::uint64_t done = 0;
  while (done < length) {
    const ssize_t copied = copy(from, to, static_cast<off_t>(offset + done), length - done);
    if (copied > 0)
      done += static_cast<std::uint64_t>(copied);
    else if (copied == 0 || errno != EINTR)
      break;
  }
  return done;
}

}  // namespace

std::uint64_t PosixFileCopying::copyContents(int from, int to, std::uint64_t offset,
                                             std::uint64_t length) const {
  const std::uint64_t done = repeat(copyByRange, from, to, offset, length);
  if (done == length) return done;
  return done + repeat(copyBySending, from, to, offset + done, length - done);
}

std::uint64_t PosixFileCopying::mountNumber(int directory) const {
  struct statx facts {};
  if (statx(directory, "", AT_EMPTY_PATH, STATX_MNT_ID, &facts) != 0) return 0;
  return (facts.stx_mask & STATX_MNT_ID) != 0 ? facts.stx_mnt_id : 0;
}

#else

std::uint64_t PosixFileCopying::copyContents(int, int, std::uint64_t, std::uint64_t) const {
  return 0;
}

std::uint64_t PosixFileCopying::mountNumber(int) const { return 0; }

#endif

}  // namespace platform
