#include "tests/soak/Watch.h"

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <stdexcept>

namespace soak {
namespace {

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

}  // namespace

Watch::Watch(pid_t process) : process_(process) {
  constexpr long kOptions = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL;
  int status = 0;
  if (waitpid(process_, &status, 0) != process_ || !WIFSTOPPED(status) ||
      ptrace(PTRACE_SETOPTIONS, process_, nullptr, kOptions) != 0)
    throw std::runtime_error("the program cannot be traced");
  goOn(process_, status);
}

// Whether the thread stands behind a call that counts.
bool Watch::isCountedExit(pid_t thread) {
  __ptrace_syscall_info call{};
  if (ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof call, &call) <= 0) return false;
  if (call.op == PTRACE_SYSCALL_INFO_ENTRY && changes(call)) changing_.insert(thread);
  return call.op == PTRACE_SYSCALL_INFO_EXIT && changing_.erase(thread) != 0;
}

// A thread that was killed meanwhile cannot, which its end will show.
void Watch::goOn(pid_t thread, int status) {
  ptrace(PTRACE_SYSCALL, thread, nullptr, signalOf(status));
}

int Watch::runUntilCall(std::uint64_t call) {
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

}  // namespace soak
