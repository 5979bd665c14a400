#pragma once
// While it lives the system has no thread to give: each would ask for more address space than there
// is. Limits on their number do not bind the superuser, who runs the tests.

#include <pthread.h>

#include <cstddef>

class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&former_);
    pthread_attr_t greedy;
    pthread_getattr_default_np(&greedy);
    pthread_attr_setstacksize(&greedy, std::size_t{1} << 60);
    pthread_setattr_default_np(&greedy);
    pthread_attr_destroy(&greedy);
  }
  ~NoThreads() {
    pthread_setattr_default_np(&former_);
    pthread_attr_destroy(&former_);
  }
  NoThreads(const NoThreads&) = delete;
  NoThreads& operator=(const NoThreads&) = delete;

 private:
  pthread_attr_t former_{};
};
