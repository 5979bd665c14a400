#if defined(__APPLE__)

#include <copyfile.h>
#include <fcntl.h>
#include <sys/acl.h>
#include <sys/clonefile.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "leaf/Descriptor.h"
#include "platform/posix/PosixError.h"
#include "platform/posix/PosixFileCopying.h"

namespace platform {

std::array<timespec, 2> PosixFileCopying::times(const struct stat& facts) const {
  return {facts.st_atimespec, facts.st_mtimespec};
}

timespec PosixFileCopying::changeTime(const struct stat& facts) const { return facts.st_ctimespec; }

// Systems before 13 have no call that takes the folder's descriptor.
bool PosixFileCopying::makePipe(int directory, const char* name) const {
  constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
  if (__builtin_available(macOS 13.0, *)) return mkfifoat(directory, name, kOwnerOnly) == 0;
  std::array<char, PATH_MAX> folder{};
  if (directory == AT_FDCWD) return mkfifo(name, kOwnerOnly) == 0;
  if (fcntl(directory, F_GETPATH, folder.data()) != 0) return false;
  return mkfifo((std::string(folder.data()) + "/" + name).c_str(), kOwnerOnly) == 0;
}

std::uint64_t PosixFileCopying::copyContents(int, int, std::uint64_t, std::uint64_t) const {
  return 0;
}

std::uint64_t PosixFileCopying::mountNumber(int) const { return 0; }

// The clone has the mode of its original at once.
int PosixFileCopying::shareContents(int from, int toDirectory, const char* toName) const {
  if (fclonefileat(from, toDirectory, toName, CLONE_NOOWNERCOPY) != 0) {
    if (errno == EXDEV) errno = ENOTSUP;
    return -1;
  }
  const int made = openat(toDirectory, toName, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (made >= 0) return made;
  const int code = errno;
  unlinkat(toDirectory, toName, 0);
  errno = code;
  return -1;
}

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
    return {};
  return lastPosixError("fcopyfile");
}

Outcome PosixFileCopying::copyAttributes(int fromDirectory, const char* fromName, int toDirectory,
                                         const char* toName) const {
  const Descriptor from(openat(fromDirectory, fromName, kItself));
  const Descriptor to(openat(toDirectory, toName, kItself));
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

}  // namespace platform

#endif
