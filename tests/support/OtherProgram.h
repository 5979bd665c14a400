#pragma once
// Another program of the user, as a process of its own that shares the test's files. It is a copy
// of the test at the moment of its making, so that the test must have no threads then.

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <functional>

class OtherProgram {
 public:
  // Does the work and ends. The work says whether it went well, and may call tell() and hang().
  explicit OtherProgram(const std::function<bool(OtherProgram&)>& work) {
    if (pipe(told_.data()) != 0) return;
    process_ = fork();
    if (process_ != 0) return;
    alarm(kMostSeconds);  // should the test forget it
    _exit(work(*this) ? 0 : 1);
  }
  ~OtherProgram() {
    kill();
    for (const int end : told_) close(end);
  }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;

  // For the work: says that it has come so far; and comes to no end.
  void tell() const { static_cast<void>(write(told_[1], "+", 1) == 1); }
  static bool hang() {
    for (;;) pause();
  }

  // Returns when the work has called tell().
  bool waitUntilTold() {
    close(told_[1]);  // so that the end of the other is an end of the waiting
    told_[1] = -1;
    char byte = 0;
    return read(told_[0], &byte, 1) == 1;
  }

  pid_t number() const { return process_; }

  // Whether the work went well.
  bool ended() {
    int status = -1;
    if (process_ > 0) waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

  // As a crash would.
  void kill() {
    if (process_ > 0) ::kill(process_, SIGKILL);
    static_cast<void>(ended());
  }

 private:
  static constexpr unsigned kMostSeconds = 120;
  std::array<int, 2> told_{-1, -1};
  pid_t process_ = -1;
};
