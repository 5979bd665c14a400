#pragma once
// A program followed from call to call into the kernel.

#include <sys/types.h>

#include <cstdint>
#include <set>

namespace soak {

// Follows one process with all its threads; the processes that it starts run free.
class Watch {
 public:
  // The process has asked to be traced and is about to exec. Throws where it cannot be followed.
  explicit Watch(pid_t process);

  // Lets it run until the given call of those that change something has returned in any thread,
  // kills it then, and gives the status it ended with. 0 lets it run to its end.
  int runUntilCall(std::uint64_t call);

  std::uint64_t calls() const { return calls_; }

 private:
  bool isCountedExit(pid_t thread);
  void goOn(pid_t thread, int status);

  pid_t process_;
  std::uint64_t calls_ = 0;
  std::set<pid_t> changing_;  // threads that are in a call that counts
};

}  // namespace soak
