#include <fcntl.h>
#include <sys/types.h>
#if defined(__linux__)
#include <sys/xattr.h>
#else
#include <copyfile.h>
#include <sys/acl.h>
#endif

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
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

#else

// Of Darwin's sys/xattr.h, which not every set of its headers has.
extern "C" {
ssize_t flistxattr(int item, char* names, size_t size, int options);
ssize_t fgetxattr(int item, const char* name, void* value, size_t size, std::uint32_t position,
                  int options);
}

namespace {

constexpr copyfile_flags_t kAttributes = COPYFILE_ACL | COPYFILE_XATTR;
constexpr int kItself = O_RDONLY | O_SYMLINK | O_NONBLOCK | O_CLOEXEC;
constexpr std::size_t kMostNames = 64 << 10;  // bytes; who has more is not compared

struct FreedList {
  void operator()(acl_t list) const { acl_free(list); }
};
struct FreedText {
  void operator()(char* text) const { acl_free(text); }
};
struct FreedState {
  void operator()(copyfile_state_t state) const { copyfile_state_free(state); }
};
using List = std::unique_ptr<std::remove_pointer_t<acl_t>, FreedList>;
using State = std::unique_ptr<std::remove_pointer_t<copyfile_state_t>, FreedState>;

// Asked by fcopyfile before each attribute.
int skipLeftOut(int what, int stage, copyfile_state_t state, const char*, const char*,
                void* context) {
  if (what != COPYFILE_COPY_XATTR || stage != COPYFILE_START) return COPYFILE_CONTINUE;
  const char* name = nullptr;
  copyfile_state_get(state, COPYFILE_STATE_XATTRNAME, &name);
  const auto& leftOut = *static_cast<const std::string_view*>(context);
  return name && std::string_view(name).starts_with(leftOut) ? COPYFILE_SKIP : COPYFILE_CONTINUE;
}

State stateThatLeavesOut(std::string_view& leftOut) {
  if (leftOut.empty()) return nullptr;
  State state(copyfile_state_alloc());
  copyfile_state_set(state.get(), COPYFILE_STATE_STATUS_CB,
                     reinterpret_cast<const void*>(&skipLeftOut));
  copyfile_state_set(state.get(), COPYFILE_STATE_STATUS_CTX, &leftOut);
  return state;
}

std::optional<std::vector<std::string>> sortedNames(int item) {
  std::vector<char> names(kMostNames);
  const ssize_t size = flistxattr(item, names.data(), names.size(), 0);
  if (size < 0) return std::nullopt;
  std::vector<std::string> sorted;
  for (std::size_t at = 0; at < static_cast<std::size_t>(size); at += sorted.back().size() + 1)
    sorted.emplace_back(names.data() + at);
  std::sort(sorted.begin(), sorted.end());
  return sorted;
}

std::optional<std::string> valueOf(int item, const std::string& name) {
  const ssize_t size = fgetxattr(item, name.c_str(), nullptr, 0, 0, 0);
  if (size < 0) return std::nullopt;
  std::string value(static_cast<std::size_t>(size), '\0');
  const ssize_t got = fgetxattr(item, name.c_str(), value.data(), value.size(), 0, 0);
  return got == size ? std::optional(value) : std::nullopt;
}

// Empty for none.
std::string listText(int item) {
  const List list(acl_get_fd(item));
  const std::unique_ptr<char, FreedText> text(list ? acl_to_text(list.get(), nullptr) : nullptr);
  return text ? text.get() : "";
}

}  // namespace

Outcome PosixFileCopying::copyAttributes(int from, int to, std::string_view leftOut) const {
  const State state = stateThatLeavesOut(leftOut);
  if (fcopyfile(from, to, state.get(), kAttributes) == 0 || errno == ENOTSUP || errno == EPERM)
    return std::nullopt;
  return lastPosixError("fcopyfile");
}

Outcome PosixFileCopying::copyAttributes(int fromDirectory, const char* fromName, int toDirectory,
                                         const char* toName) const {
  const FileDescriptor from(openat(fromDirectory, fromName, kItself));
  const FileDescriptor to(openat(toDirectory, toName, kItself));
  if (!from || !to) return lastPosixError("openat");
  return copyAttributes(from.get(), to.get(), {});
}

bool PosixFileCopying::sameAttributes(int a, int b) const {
  const auto first = sortedNames(a);
  return first && first == sortedNames(b) && listText(a) == listText(b) &&
         std::all_of(first->begin(), first->end(), [&](const std::string& name) {
           const auto value = valueOf(a, name);
           return value && value == valueOf(b, name);
         });
}

bool PosixFileCopying::handsListsDown(int folder) const { return !listText(folder).empty(); }

void PosixFileCopying::dropAccessLists(int item) const {
  const List none(acl_init(0));
  if (none) acl_set_fd(item, none.get());
}

#endif

}  // namespace platform
