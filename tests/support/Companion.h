#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

// A program of the test's own that is ended with it.
class Companion {
 public:
  Companion() = default;
  // With a descriptor to tell something on, it is the program's number kTellOn. Its standard error
  // goes to the end of the log.
  explicit Companion(std::vector<std::string> command, int tellOn = -1,
                     const std::string& log = "/dev/null");
  ~Companion() { end(); }
  Companion(Companion&& other) noexcept;
  Companion& operator=(Companion&& other) noexcept;

  static constexpr int kTellOn = 9;

  void signal(int number) const;
  void end();
  int endingSignal();  // waits for its end; 0 for one by itself
  pid_t process() const { return process_; }

 private:
  pid_t process_ = 0;
};
