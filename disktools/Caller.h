#pragma once
// Who asked, and acting as that user.
//
// The program runs with root's rights for somebody who may have none: as root itself, as the root
// of a user namespace, or for the real user behind an effective root. Three things keep the caller
// from more than her own:
//
//   - `prepareProcess` takes back what she set up before the program ran: variables that libraries
//     read, a closed standard error that the next opened file would become, limits and signals that
//     end it half-way.
//   - `takePrivilege` remembers the real user and becomes root altogether. While the real user was
//     hers, her signals could stop or kill the process, with the lock in its hands.
//   - `AsCaller` reaches every path that she names with her rights. The identity that file access
//   is
//     checked against changes for one thread and touches nothing else, so the process stays root
//     and out of her signals' reach; the supplementary groups are hers all along. What was opened
//     so is then acted upon by descriptor, with root's rights (Target.h).
//
// It is not for being installed set-user-ID all the same: there are other ways than signals to
// freeze a process that one has started.

#include <sys/types.h>

#include <string>

#include "disktools/Result.h"

namespace disktools {

struct Caller {
  uid_t uid = 0;
  gid_t gid = 0;

  bool isRoot() const { return uid == 0; }
  bool mayUse(uid_t owner) const { return isRoot() || uid == owner; }

  // The login name, or the number where the system knows none.
  std::string name() const;
};

// Frees the process of what its caller may have set up before starting it: environment, file mask,
// missing standard descriptors, limits that would stop it half-way, signals of the terminal. Call
// it first, with one thread.
void prepareProcess();

// Takes the real user as the caller and then becomes root. Fails without root's rights.
Result<Caller> takePrivilege();

// While it lives, this thread reaches files with the caller's rights instead of root's: a path is
// followed only where the caller could follow it too. holds() is false when the kernel refused.
class AsCaller {
 public:
  explicit AsCaller(const Caller& caller);
  ~AsCaller();
  AsCaller(const AsCaller&) = delete;
  AsCaller& operator=(const AsCaller&) = delete;

  bool holds() const { return holds_; }

 private:
  uid_t uid_;
  gid_t gid_;
  bool holds_ = true;
};

}  // namespace disktools
