#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "disktools/Verbs.h"
#include "leaf/Descriptor.h"

namespace disktools {

// Slowing the whole machine down is not for everyone. The kernel asks for the effective user here
// and no more, so being set-user-ID would open this to all. 1 asks it to drop the pages of files
// that are already on a disk, see proc(5).
Failure purge(const Request& request) {
  constexpr const char* failed = "cannot drop caches";
  if (!request.caller.isRoot()) return Problem{failed, EPERM, "only root may"};
  const Descriptor caches(open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC));
  if (caches && write(caches.get(), "1\n", 2) == 2) return std::nullopt;
  return systemProblem(failed, errno == EACCES ? "only root may" : "");
}

}  // namespace disktools
