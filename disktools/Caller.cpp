#include "disktools/Caller.h"

#include <pwd.h>
#include <sys/fsuid.h>
#include <unistd.h>

namespace disktools {

namespace {

// The calls report no failure; asking for the impossible id −1 tells what is in force.
uid_t fileUser() { return static_cast<uid_t>(setfsuid(static_cast<uid_t>(-1))); }
gid_t fileGroup() { return static_cast<gid_t>(setfsgid(static_cast<gid_t>(-1))); }

}  // namespace

std::string Caller::name() const {
  const passwd* entry = getpwuid(uid);
  return entry ? entry->pw_name : std::to_string(uid);
}

Result<Caller> takePrivilege() {
  const Caller caller{getuid(), getgid()};
  if (geteuid() != 0)
    return Problem{"needs root's rights", 0, "run it as root, or in a user namespace"};
  if (setresgid(0, 0, 0) != 0 && !caller.isRoot()) return systemProblem("cannot become root");
  if (setresuid(0, 0, 0) != 0) return systemProblem("cannot become root");
  return caller;
}

AsCaller::AsCaller(const Caller& caller) : uid_(fileUser()), gid_(fileGroup()) {
  if (caller.isRoot()) return;
  setfsgid(caller.gid);
  setfsuid(caller.uid);
  holds_ = fileUser() == caller.uid && fileGroup() == caller.gid;
}

AsCaller::~AsCaller() {
  setfsuid(uid_);
  setfsgid(gid_);
}

}  // namespace disktools
