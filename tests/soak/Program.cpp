#include "tests/soak/Program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "leaf/Descriptor.h"
#include "tests/support/Scratch.h"

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

// true where it had ended by then.
bool endsWithin(pid_t process, Microseconds time) {
  const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  if (!handle) throw std::runtime_error("pidfd_open failed");
  pollfd end{handle.get(), POLLIN, 0};
  const timespec limit{time.count() / 1'000'000, time.count() % 1'000'000 * 1'000};
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

constexpr int kCallStop = SIGTRAP | 0x80;  // with PTRACE_O_TRACESYSGOOD
constexpr int kEventShift = 16;

// Calls after which the world may be another. Threads and disk tools are started by clone.
constexpr auto kChanging = std::to_array<std::uint64_t>({
    SYS_clone,        SYS_clone3,       SYS_copy_file_range, SYS_fallocate, SYS_fchmod,
    SYS_fchmodat,     SYS_fchown,       SYS_fchownat,        SYS_fdatasync, SYS_flock,
    SYS_fremovexattr, SYS_fsetxattr,    SYS_fsync,           SYS_ftruncate, SYS_ioctl,
    SYS_linkat,       SYS_lremovexattr, SYS_lsetxattr,       SYS_mkdirat,   SYS_mknodat,
    SYS_removexattr,  SYS_renameat2,    SYS_sendfile,        SYS_setxattr,  SYS_symlinkat,
    SYS_syncfs,       SYS_umount2,      SYS_unlinkat,        SYS_utimensat, SYS_wait4,
    SYS_mount,
#ifdef SYS_rename  // newer architectures have only the calls that end in "at"
    SYS_link,         SYS_mkdir,        SYS_mknod,           SYS_rename,    SYS_renameat,
    SYS_rmdir,        SYS_symlink,      SYS_unlink,          SYS_vfork,
#endif
});

bool writes(const __ptrace_syscall_info& call) {
  constexpr std::array<std::uint64_t, 4> kWrites = {SYS_write, SYS_pwrite64, SYS_writev,
                                                    SYS_pwritev};
  return std::find(kWrites.begin(), kWrites.end(), call.entry.nr) != kWrites.end() &&
         call.entry.args[0] > STDERR_FILENO;
}

bool creates(const __ptrace_syscall_info& call) {
  return call.entry.nr == SYS_openat && (call.entry.args[2] & O_CREAT) != 0;
}

bool changes(const __ptrace_syscall_info& call) {
  return writes(call) || creates(call) ||
         std::find(kChanging.begin(), kChanging.end(), call.entry.nr) != kChanging.end();
}

bool isNewThread(int status) { return WSTOPSIG(status) == SIGSTOP || (status >> kEventShift) != 0; }

// What a stopped thread is to be given when it goes on.
int signalOf(int status) {
  const int signal = WSTOPSIG(status);
  return signal == kCallStop || signal == SIGTRAP || isNewThread(status) ? 0 : signal;
}

// Follows one process with all its threads; the processes that it starts run free.
class Watch {
 public:
  // The process has asked to be traced and is about to exec. Throws where it cannot be followed.
  explicit Watch(pid_t process) : process_(process) {
    constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL;
    const int status = waitFor(process_);
    if (!WIFSTOPPED(status) || ptrace(PTRACE_SETOPTIONS, process_, nullptr, kOptions) != 0)
      throw std::runtime_error("the program cannot be traced");
    goOn(process_, status);
  }

  // Lets it run until the given call of those that change something has returned in any thread,
  // kills it then, and gives the status it ended with. 0 lets it run to its end.
  int runUntilCall(std::uint64_t call) {
    int status = 0;
    for (pid_t thread = 0; (thread = waitpid(-1, &status, __WALL)) > 0;) {
      if (!WIFSTOPPED(status)) {
        if (thread == process_) return status;
        continue;
      }
      if (WSTOPSIG(status) == kCallStop && isCountedExit(thread) && ++calls_ == call)
        kill(process_, SIGKILL);
      goOn(thread, status);
    }
    throw std::runtime_error("the program was lost sight of");
  }

  std::uint64_t calls() const { return calls_; }

 private:
  // Whether the thread stands behind a call that counts.
  bool isCountedExit(pid_t thread) {
    __ptrace_syscall_info call{};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof call, &call) <= 0) return false;
    if (call.op == PTRACE_SYSCALL_INFO_ENTRY && changes(call)) changing_.insert(thread);
    return call.op == PTRACE_SYSCALL_INFO_EXIT && changing_.erase(thread) != 0;
  }
  // A thread that was killed meanwhile cannot, which its end will show.
  static void goOn(pid_t thread, int status) {
    ptrace(PTRACE_SYSCALL, thread, nullptr, signalOf(status));
  }

  pid_t process_;
  std::uint64_t calls_ = 0;
  std::set<pid_t> changing_;  // threads that are in a call that counts
};

// "PID (NAME) STATE PARENT …" is what the kernel tells; the name may hold anything.
void killChildren() {
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string line = readFile(entry.path() / "stat");
    int parent = 0;
    if (std::sscanf(line.c_str() + line.rfind(')') + 1, " %*c %d", &parent) == 1 &&
        parent == getpid())
      ::kill(std::stoi(entry.path().filename()), SIGKILL);
  }
}

// Waits for all that the program left running, killing them first where asked.
void endOrphans(bool kill) {
  if (kill) killChildren();
  while (waitpid(-1, nullptr, 0) > 0) continue;
}

}  // namespace

void adoptOrphans() { prctl(PR_SET_CHILD_SUBREAPER, 1); }

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
  endOrphans(point.toolsToo);
  return outcome;
}

Outcome Program::killAfterCall(const Words& arguments, const KillPoint& point) const {
  const Stopwatch watch;
  Watch program(start(arguments, true));
  const int status = program.runUntilCall(point.afterCall.value_or(0));
  auto outcome = outcomeOf(status, watch.time());
  outcome.calls = program.calls();
  endOrphans(point.toolsToo);
  return outcome;
}

}  // namespace soak
