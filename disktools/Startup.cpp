#include "disktools/Startup.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

namespace disktools {

namespace {

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

void prepareProcess() {
  clearenv();
  umask(022);
  fillStandardDescriptors();
  liftLimits();
  ignoreSignals();
}

}  // namespace disktools
