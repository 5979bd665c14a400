#include "tests/soak/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "leaf/Descriptor.h"
#include "tests/soak/Orphans.h"
#include "tests/soak/Watch.h"

namespace soak {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kCannotRun = 127;

class Stopwatch {
 public:
  Microseconds time() const {
    return std::chrono::duration_cast<Microseconds>(Clock::now() - began_);
  }

 private:
  Clock::time_point began_ = Clock::now();
};

timespec timespecOf(Microseconds time) {
  constexpr std::int64_t kMicro = 1'000'000;
  constexpr std::int64_t kNano = 1'000;
  return {time.count() / kMicro, time.count() % kMicro * kNano};
}

// true where it had ended by then.
bool endsWithin(pid_t process, Microseconds time) {
  const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  if (!handle) throw std::runtime_error("pidfd_open failed");
  pollfd end{handle.get(), POLLIN, 0};
  const timespec limit = timespecOf(time);
  return ppoll(&end, 1, &limit, nullptr) > 0;
}

int waitFor(pid_t process) {
  int status = 0;
  if (waitpid(process, &status, 0) != process) throw std::runtime_error("waitpid failed");
  return status;
}

Outcome outcomeOf(int status, Microseconds took) {
  Outcome outcome;
  outcome.killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  outcome.took = took;
  return outcome;
}

}  // namespace

// Between fork and exec; a failure shows as an exit status that the program itself never has.
void Program::become(const Words& arguments, bool watched) const {
  const int log = open(log_.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(log, STDOUT_FILENO);
  dup2(log, STDERR_FILENO);
  Words words = arguments;
  words.insert(words.begin(), path_);
  std::vector<char*> pointers;
  std::transform(words.begin(), words.end(), std::back_inserter(pointers),
                 [](std::string& word) { return word.data(); });
  pointers.push_back(nullptr);
  if (watched) ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  execv(path_.c_str(), pointers.data());
  _exit(kCannotRun);
}

int Program::start(const Words& arguments, bool watched) const {
  const pid_t process = fork();
  if (process == 0) become(arguments, watched);
  if (process < 0) throw std::runtime_error("fork failed");
  return process;
}

Outcome Program::run(const Words& arguments) const {
  const Stopwatch watch;
  const auto outcome = outcomeOf(waitFor(start(arguments, false)), watch.time());
  endOrphans(false);
  return outcome;
}

Outcome Program::killAfterTime(const Words& arguments, const KillPoint& point) const {
  const Stopwatch watch;
  const pid_t process = start(arguments, false);
  if (!endsWithin(process, point.afterTime)) ::kill(process, SIGKILL);
  auto outcome = outcomeOf(waitFor(process), watch.time());
  outcome.leftTool = endOrphans(point.toolsToo);
  return outcome;
}

Outcome Program::killAfterCall(const Words& arguments, const KillPoint& point) const {
  const Stopwatch watch;
  Watch program(start(arguments, true));
  const int status = program.runUntilCall(point.afterCall.value_or(0));
  auto outcome = outcomeOf(status, watch.time());
  outcome.calls = program.calls();
  outcome.leftTool = endOrphans(point.toolsToo);
  return outcome;
}

}  // namespace soak
