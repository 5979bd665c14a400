#include "system/Descriptor.h"

#include <cerrno>

void Descriptor::reset(int fd) {
  const int old = std::exchange(fd_, fd);
  if (old < 0) return;
  const int kept = errno;
  close(old);
  errno = kept;
}
