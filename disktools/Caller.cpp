#include "disktools/Caller.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace disktools {

namespace {

// The calls report no failure; asking for the impossible id −1 tells what is in force.
uid_t fileUser() { return static_cast<uid_t>(setfsuid(static_cast<uid_t>(-1))); }
gid_t fileGroup() { return static_cast<gid_t>(setfsgid(static_cast<gid_t>(-1))); }

// A file opened while one of the first three descriptors is missing would take its place, and
// messages would be written into it.
void fillStandardDescriptors() {
  int fd = 0;
  do fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= 2);
  if (fd < 0) std::abort();
  close(fd);
}

// Root may raise them; elsewhere they stay as they are.
void liftLimits() {
  constexpr std::array<__rlimit_resource, 3> limits = {RLIMIT_FSIZE, RLIMIT_CPU, RLIMIT_NOFILE};
  for (const auto limit : limits) {
    const rlim_t most = limit == RLIMIT_NOFILE ? 1024 : RLIM_INFINITY;
    const struct rlimit wanted { most, most };
    static_cast<void>(setrlimit(limit, &wanted));
  }
}

void ignoreSignals() {
  for (const int number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGTSTP, SIGPIPE, SIGXFSZ, SIGALRM})
    static_cast<void>(std::signal(number, SIG_IGN));
}

}  // namespace

std::string Caller::name() const {
  const passwd* entry = getpwuid(uid);
  return entry ? entry->pw_name : std::to_string(uid);
}

void prepareProcess() {
  clearenv();
  umask(022);
  fillStandardDescriptors();
  liftLimits();
  ignoreSignals();
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
