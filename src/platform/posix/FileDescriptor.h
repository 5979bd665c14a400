#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

// Owns an open file descriptor; -1 for none. Closing keeps errno.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() { reset(); }
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }

  void reset(int fd = -1) {
    const int kept = errno;
    if (fd_ >= 0) close(fd_);
    fd_ = fd;
    errno = kept;
  }

 private:
  int fd_ = -1;
};

}  // namespace platform
