#include "system/copier/FileContents.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "system/Errno.h"

namespace copier {
namespace {

constexpr std::size_t kBuffer = 256 << 10;
constexpr off_t kLong = 32 << 10;   // from here on the kernel copies in less time than a buffer
constexpr off_t kSlice = 16 << 20;  // copied inside the kernel between two reports of progress
constexpr blkcnt_t kCountedBlock = 512;  // what st_blocks counts in, everywhere

bool hasHoles(const struct stat& facts) { return facts.st_blocks < facts.st_size / kCountedBlock; }

constexpr std::size_t kHalf = 128 << 10;
constexpr std::size_t kUnread = static_cast<std::size_t>(-1);

constexpr mode_t kModeBits = 07777;
constexpr uid_t kSameOwner = static_cast<uid_t>(-1);

// Notes errno unless a failure came before.
void note(platform::Outcome& outcome, const char* verb) {
  const int code = errno;
  if (outcome) outcome = errnoError(code, verb);
}

// Whoever may not give a file away may still be a member of its group.
template <class ChangeOwner>
void giveOwner(const struct stat& facts, ChangeOwner change) {
  if (change(facts.st_uid, facts.st_gid) != 0) change(kSameOwner, facts.st_gid);
}

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

platform::Outcome ItemAttributes::give(int from, int to, std::string_view leftOut) const {
  if (!owned_) giveOwner(facts_, [to](uid_t user, gid_t group) { return fchown(to, user, group); });
  auto outcome = system_.copyAttributes(from, to, leftOut);
  if (fchmod(to, modeFor(to)) != 0) note(outcome, "fchmod");
  const auto times = system_.times(facts_);
  if (futimens(to, times.data()) != 0) note(outcome, "futimens");
  return outcome;
}

platform::Outcome ItemAttributes::give(int fromFolder, const char* fromName, int toFolder,
                                       const char* toName) const {
  if (!owned_) {
    giveOwner(facts_, [&](uid_t user, gid_t group) {
      return fchownat(toFolder, toName, user, group, AT_SYMLINK_NOFOLLOW);
    });
  }
  auto outcome = system_.copyAttributes(fromFolder, fromName, toFolder, toName);
  const mode_t mode = facts_.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
  if (!S_ISLNK(facts_.st_mode) && fchmodat(toFolder, toName, mode, AT_SYMLINK_NOFOLLOW) != 0)
    note(outcome, "fchmodat");
  const auto times = system_.times(facts_);
  if (utimensat(toFolder, toName, times.data(), AT_SYMLINK_NOFOLLOW) != 0)
    note(outcome, "utimensat");
  return outcome;
}

mode_t ItemAttributes::modeFor(int copy) const {
  const mode_t mode = facts_.st_mode & kModeBits;
  if (owned_ || (mode & (S_ISUID | S_ISGID)) == 0) return mode;
  struct stat given {};
  const bool known = fstat(copy, &given) == 0;
  const bool user = known && given.st_uid == facts_.st_uid;
  const bool group = known && given.st_gid == facts_.st_gid;
  return mode & ~static_cast<mode_t>((user ? 0 : S_ISUID) | (group ? 0 : S_ISGID));
}

}  // namespace copier
