#pragma once

#include <functional>
#include <thread>

#include "leaf/Descriptor.h"

namespace platform {

// While one exists, SIGTERM, SIGINT and SIGHUP do not end the process: each calls `asked`, on a
// thread of this object's. What was ignored before, as under nohup, stays so. A reader that goes
// away does not end the process either. Programs started meanwhile know nothing of this. One at a
// time.
class TerminationSignals {
 public:
  explicit TerminationSignals(std::function<void()> asked);
  ~TerminationSignals();
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

 private:
  Descriptor reading_;
  Descriptor writing_;
  std::thread thread_;
};

}  // namespace platform
