#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

// A program that runs beside the benchmark and is ended with it.
class Companion {
 public:
  explicit Companion(std::vector<std::string> command);
  ~Companion() { end(); }
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

  pid_t process() const { return process_; }
  // Asks it to end, and gives its wait status.
  int end();

 private:
  pid_t process_ = 0;
};

// Seconds of processor time of all threads so far, to the nanosecond, and of children that were
// waited for, to the clock tick.
double processorSeconds(pid_t process);
long childFaults(pid_t process);  // more of them tell that a child was run
bool hasChildren(pid_t process);
double residentMegabytes(pid_t process);

// Waits until the process has used next to nothing for a while.
void untilQuiet(pid_t process);

}  // namespace bench
