#include "disktools/Descriptor.h"

#include <cerrno>

namespace disktools {

Descriptor::~Descriptor() {
  if (fd_ < 0) return;
  const int saved = errno;
  close(fd_);
  errno = saved;
}

}  // namespace disktools
