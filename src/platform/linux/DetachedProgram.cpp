#include "platform/linux/DetachedProgram.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/PosixError.h"

namespace platform {
namespace {

// No signal of ours reaches the new processes before they have settings of their own.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &former_);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &former_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t former_{};
};

// All that the new processes use, made before they are. Between fork and execution nothing may be
// called that takes a lock or memory: another thread may have held it.
struct Start {
  std::vector<char*> arguments;
  const char* directory;
  int report;  // takes the errno of what failed; closed by the execution
};

void resetSignals() {
  struct sigaction usual {};
  usual.sa_handler = SIG_DFL;
  for (int signal = 1; signal < NSIG; ++signal) sigaction(signal, &usual, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

void closeStreams() {
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
  close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
}

[[noreturn]] void fail(const Start& start) {
  const int code = errno;
  (void)!write(start.report, &code, sizeof code);
  _exit(1);
}

[[noreturn]] void becomeProgram(const Start& start) {
  resetSignals();
  closeStreams();
  if (chdir(start.directory) != 0) (void)!chdir("/");
  execv(start.arguments.front(), start.arguments.data());
  fail(start);
}

// The process between: its end hands the program over to the system.
[[noreturn]] void startAndEnd(const Start& start) {
  setsid();
  const pid_t program = fork();
  if (program == 0) becomeProgram(start);
  if (program < 0) fail(start);
  _exit(0);
}

void reap(pid_t process) {
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// Waits for the execution. 0, or the errno of what failed.
int reportedCode(int reading) {
  int code = 0;
  ssize_t got = 0;
  do got = read(reading, &code, sizeof code);
  while (got < 0 && errno == EINTR);
  return got == static_cast<ssize_t>(sizeof code) ? code : 0;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Outcome startDetached(const std::vector<std::string>& command, const std::string& directory) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return lastPosixError("pipe");
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  auto texts = command;
  const Start start{pointersTo(texts), directory.c_str(), writing.get()};
  const BlockedSignals blocked;
  const pid_t between = fork();
  if (between < 0) return lastPosixError("fork");
  if (between == 0) startAndEnd(start);
  writing.reset();
  reap(between);
  const int code = reportedCode(reading.get());
  if (code != 0) return posixError(code, command.front());
  return {};
}

}  // namespace platform
