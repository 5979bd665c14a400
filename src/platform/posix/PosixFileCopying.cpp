// What both systems share, and Linux; PosixFileCopying_Darwin.cpp has Darwin.
#include "platform/posix/PosixFileCopying.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/xattr.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/posix/PosixError.h"

namespace platform {
namespace {

// O_NONBLOCK matters only where a pipe or a device took the place of a file meanwhile.
constexpr int kRead = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

#if defined(O_NOATIME)
// Only its owner may read a file without a trace.
int openQuietly(int directory, const char* name, int flags) {
  const int opened = openat(directory, name, flags | O_NOATIME);
  return opened < 0 && errno == EPERM ? openat(directory, name, flags) : opened;
}
#else
int openQuietly(int directory, const char* name, int flags) {
  return openat(directory, name, flags);
}
#endif

}  // namespace

int PosixFileCopying::openFile(int directory, const char* name) const {
  return openQuietly(directory, name, kRead);
}

int PosixFileCopying::openFolder(int directory, const char* name) const {
  return openQuietly(directory, name, kRead | O_DIRECTORY);
}

#if defined(__linux__)

std::array<timespec, 2> PosixFileCopying::times(const struct stat& facts) const {
  return {facts.st_atim, facts.st_mtim};
}

timespec PosixFileCopying::changeTime(const struct stat& facts) const { return facts.st_ctim; }

bool PosixFileCopying::makePipe(int directory, const char* name) const {
  return mkfifoat(directory, name, S_IRUSR | S_IWUSR) == 0;
}

// --- Contents

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

// --- Sharing

namespace {

constexpr unsigned long kShareBlocks = _IOW(0x94, 9, int);  // FICLONE of linux/fs.h
constexpr int kMakeFile = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;

// What a file system answers that does not know how, and what is answered for two of them. Other
// refusals concern the one file.
bool neverShares(int code) { return code == EOPNOTSUPP || code == ENOTTY || code == EXDEV; }

}  // namespace

int PosixFileCopying::shareContents(int from, int toDirectory, const char* toName) const {
  const int made = openat(toDirectory, toName, kMakeFile, S_IRUSR | S_IWUSR);
  if (made < 0 || ioctl(made, kShareBlocks, from) == 0) return made;
  const int code = errno;
  close(made);
  unlinkat(toDirectory, toName, 0);
  errno = neverShares(code) ? ENOTSUP : code;
  return -1;
}

// --- Attributes

namespace {

constexpr const char* kAccessList = "system.posix_acl_access";
constexpr const char* kInheritedAccessList = "system.posix_acl_default";
constexpr std::size_t kMostBytes = 64 << 10;  // of one value and of a list of names, by the kernel

// An item by its descriptor or, where it cannot be opened, by a path that passes through the
// descriptor of its folder.
class Attributes {
 public:
  explicit Attributes(int item) : item_(item) {}
  Attributes(int directory, const char* name)
      : path_(directory == AT_FDCWD ? std::string(name)
                                    : "/proc/self/fd/" + std::to_string(directory) + "/" + name) {}

  ssize_t names(char* into, std::size_t size) const {
    return path_.empty() ? flistxattr(item_, into, size) : llistxattr(path_.c_str(), into, size);
  }
  ssize_t value(const char* name, char* into, std::size_t size) const {
    return path_.empty() ? fgetxattr(item_, name, into, size)
                         : lgetxattr(path_.c_str(), name, into, size);
  }
  bool set(const char* name, const char* value, std::size_t size) const {
    return (path_.empty() ? fsetxattr(item_, name, value, size, 0)
                          : lsetxattr(path_.c_str(), name, value, size, 0)) == 0;
  }

 private:
  int item_ = -1;
  std::string path_;
};

// The names, each with its terminator; most items have none, which takes no memory to learn.
// nullopt when they cannot be told.
std::optional<std::string> toldNames(const Attributes& item) {
  std::array<char, 512> few{};
  const ssize_t size = item.names(few.data(), few.size());
  if (size >= 0) return std::string(few.data(), static_cast<std::size_t>(size));
  if (errno == ENOTSUP) return std::string();
  if (errno != ERANGE) return std::nullopt;
  std::string names(kMostBytes, '\0');
  const ssize_t all = item.names(names.data(), names.size());
  if (all < 0) return std::nullopt;
  names.resize(static_cast<std::size_t>(all));
  return names;
}

std::string namesOf(const Attributes& item) { return toldNames(item).value_or(std::string()); }

std::optional<std::vector<std::string>> sortedNames(const Attributes& item) {
  const auto names = toldNames(item);
  if (!names) return std::nullopt;
  std::vector<std::string> sorted;
  for (std::size_t at = 0; at < names->size(); at += sorted.back().size() + 1)
    sorted.emplace_back(names->c_str() + at);
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

std::optional<std::string> valueOf(const Attributes& item, const std::string& name) {
  std::string value(kMostBytes, '\0');
  const ssize_t size = item.value(name.c_str(), value.data(), value.size());
  if (size < 0) return std::nullopt;
  value.resize(static_cast<std::size_t>(size));
  return value;
}

bool mayBeLeftOut(std::string_view name, int code) {
  if (code == ENOTSUP) return true;
  return !name.starts_with("user.") && (code == EPERM || code == EACCES || code == EINVAL);
}

// Without the prefix that Linux puts before a user's own.
bool isLeftOut(std::string_view name, std::string_view leftOut) {
  constexpr std::string_view kUsers = "user.";
  if (name.starts_with(kUsers)) name.remove_prefix(kUsers.size());
  return !leftOut.empty() && name.starts_with(leftOut);
}

Outcome copyAll(const Attributes& from, const Attributes& to, std::string_view leftOut) {
  Outcome first;
  const std::string names = namesOf(from);
  std::vector<char> value(names.empty() ? 0 : kMostBytes);
  for (std::size_t at = 0; at < names.size();) {
    const char* name = names.c_str() + at;
    at += std::string_view(name).size() + 1;
    if (isLeftOut(name, leftOut)) continue;
    const ssize_t size = from.value(name, value.data(), value.size());
    const bool gone = size < 0 && errno == ENODATA;
    const bool kept = size >= 0 && to.set(name, value.data(), static_cast<std::size_t>(size));
    if (!kept && !gone && first && !mayBeLeftOut(name, errno)) first = lastPosixError(name);
  }
  return first;
}

}  // namespace

Outcome PosixFileCopying::copyAttributes(int from, int to, std::string_view leftOut) const {
  return copyAll(Attributes(from), Attributes(to), leftOut);
}

Outcome PosixFileCopying::copyAttributes(int fromDirectory, const char* fromName, int toDirectory,
                                         const char* toName) const {
  return copyAll(Attributes(fromDirectory, fromName), Attributes(toDirectory, toName), {});
}

bool PosixFileCopying::sameAttributes(int a, int b) const {
  const auto first = sortedNames(Attributes(a));
  return first && first == sortedNames(Attributes(b)) &&
         std::all_of(first->begin(), first->end(), [&](const std::string& name) {
           const auto value = valueOf(Attributes(a), name);
           return value && value == valueOf(Attributes(b), name);
         });
}

bool PosixFileCopying::handsListsDown(int folder) const {
  return fgetxattr(folder, kInheritedAccessList, nullptr, 0) >= 0;
}

void PosixFileCopying::dropAccessLists(int item) const {
  fremovexattr(item, kInheritedAccessList);
  fremovexattr(item, kAccessList);
}

#endif

}  // namespace platform
