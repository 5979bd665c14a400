#include "system/copier/ItemAttributes.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "system/FunctionLog.h"

namespace copier {
namespace {

constexpr mode_t kModeBits = 07777;
constexpr uid_t kSameOwner = static_cast<uid_t>(-1);

// Notes errno unless a failure came before.
void note(platform::Failure& first, const char* verb) {
  const int code = errno;
  if (!first) first = platform::SystemError{"POSIX", code, verb + (": " + errnoText(code))};
}

// Whoever may not give a file away may still be a member of its group.
template <class ChangeOwner>
void giveOwner(const struct stat& facts, ChangeOwner change) {
  if (change(facts.st_uid, facts.st_gid) != 0) change(kSameOwner, facts.st_gid);
}

}  // namespace

platform::Failure ItemAttributes::give(int from, int to, std::string_view leftOut) const {
  if (!owned_) giveOwner(facts_, [to](uid_t user, gid_t group) { return fchown(to, user, group); });
  auto failure = system_.copyAttributes(from, to, leftOut);
  if (fchmod(to, modeFor(to)) != 0) note(failure, "fchmod");
  const auto times = system_.times(facts_);
  if (futimens(to, times.data()) != 0) note(failure, "futimens");
  return failure;
}

platform::Failure ItemAttributes::give(int fromFolder, const char* fromName, int toFolder,
                                       const char* toName) const {
  if (!owned_) {
    giveOwner(facts_, [&](uid_t user, gid_t group) {
      return fchownat(toFolder, toName, user, group, AT_SYMLINK_NOFOLLOW);
    });
  }
  auto failure = system_.copyAttributes(fromFolder, fromName, toFolder, toName);
  const mode_t mode = facts_.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
  if (!S_ISLNK(facts_.st_mode) && fchmodat(toFolder, toName, mode, AT_SYMLINK_NOFOLLOW) != 0)
    note(failure, "fchmodat");
  const auto times = system_.times(facts_);
  if (utimensat(toFolder, toName, times.data(), AT_SYMLINK_NOFOLLOW) != 0)
    note(failure, "utimensat");
  return failure;
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
