#pragma once

#include <sys/resource.h>

#include <filesystem>
#include <iterator>

// A descriptor table as small as a program of macOS starts with.
class FewDescriptors {
 public:
  FewDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit few{256, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

 private:
  rlimit before_{};
};

inline std::size_t openDescriptors() {
  const std::filesystem::directory_iterator listing("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(listing), end(listing)));
}
