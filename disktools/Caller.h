#pragma once
// Who asked. The program runs with root's rights; what it may do with them depends on this.

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

// Takes the real user as the caller and then becomes root altogether, so that this user can no
// longer send signals that stop the program half-way. Fails without root's rights.
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
