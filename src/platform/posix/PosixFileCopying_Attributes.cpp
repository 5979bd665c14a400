#include <fcntl.h>
#include <sys/types.h>
#if defined(__linux__)
#include <sys/xattr.h>
#else
#include <copyfile.h>
#include <sys/acl.h>
#endif

#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixError.h"
#include "platform/posix/PosixFileCopying.h"

namespace platform {

#if defined(__linux__)

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
std::string namesOf(const Attributes& item) {
  std::array<char, 512> few{};
  const ssize_t size = item.names(few.data(), few.size());
  if (size >= 0) return {few.data(), static_cast<std::size_t>(size)};
  if (errno != ERANGE) return {};
  std::string names(kMostBytes, '\0');
  const ssize_t all = item.names(names.data(), names.size());
  names.resize(all < 0 ? 0 : static_cast<std::size_t>(all));
  return names;
}

bool mayBeLeftOut(std::string_view name, int code) {
  if (code == ENOTSUP) return true;
  return !name.starts_with("user.") && (code == EPERM || code == EACCES || code == EINVAL);
}

Failure copyAll(const Attributes& from, const Attributes& to) {
  Failure first;
  const std::string names = namesOf(from);
  std::vector<char> value(names.empty() ? 0 : kMostBytes);
  for (std::size_t at = 0; at < names.size();) {
    const char* name = names.c_str() + at;
    at += std::string_view(name).size() + 1;
    const ssize_t size = from.value(name, value.data(), value.size());
    const bool gone = size < 0 && errno == ENODATA;
    const bool kept = size >= 0 && to.set(name, value.data(), static_cast<std::size_t>(size));
    if (!kept && !gone && !first && !mayBeLeftOut(name, errno)) first = lastPosixError(name);
  }
  return first;
}

}  // namespace

Failure PosixFileCopying::copyAttributes(int from, int to) const {
  return copyAll(Attributes(from), Attributes(to));
}

Failure PosixFileCopying::copyAttributes(int fromDirectory, const char* fromName, int toDirectory,
                                         const char* toName) const {
  return copyAll(Attributes(fromDirectory, fromName), Attributes(toDirectory, toName));
}

void PosixFileCopying::dropAccessLists(int item) const {
  fremovexattr(item, kInheritedAccessList);
  fremovexattr(item, kAccessList);
}

#else

namespace {

constexpr copyfile_flags_t kAttributes = COPYFILE_ACL | COPYFILE_XATTR;
constexpr int kItself = O_RDONLY | O_SYMLINK | O_NONBLOCK | O_CLOEXEC;

struct Freed {
  void operator()(acl_t list) const { acl_free(list); }
};

}  // namespace

Failure PosixFileCopying::copyAttributes(int from, int to) const {
  if (fcopyfile(from, to, nullptr, kAttributes) == 0 || errno == ENOTSUP || errno == EPERM)
    return std::nullopt;
  return lastPosixError("fcopyfile");
}

Failure PosixFileCopying::copyAttributes(int fromDirectory, const char* fromName, int toDirectory,
                                         const char* toName) const {
  const FileDescriptor from(openat(fromDirectory, fromName, kItself));
  const FileDescriptor to(openat(toDirectory, toName, kItself));
  if (!from || !to) return lastPosixError("openat");
  return copyAttributes(from.get(), to.get());
}

void PosixFileCopying::dropAccessLists(int item) const {
  const std::unique_ptr<std::remove_pointer_t<acl_t>, Freed> none(acl_init(0));
  if (none) acl_set_fd(item, none.get());
}

#endif

}  // namespace platform
