#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

// Owns an open file descriptor, or none (-1). Closing keeps errno, so that a failure can be told
// after the descriptors around it are gone.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }

  void reset(int fd = -1) {
    const int old = std::exchange(fd_, fd);
    if (old < 0) return;
    const int kept = errno;
    close(old);
    errno = kept;
  }

 private:
  int fd_ = -1;
};
