#include "platform/linux/LinuxLog.h"

#include <pthread.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <ctime>

#include "platform/posix/FileContents.h"

namespace platform {
namespace {

// Writing to a pipe that nobody reads any more would end the program, perhaps while it moves a
// user's files. The signal is held back from this thread and taken away if it came.
class BrokenPipeGuard {
 public:
  BrokenPipeGuard() {
    sigset_t pending;
    sigemptyset(&pipe_);
    sigaddset(&pipe_, SIGPIPE);
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe_, &former_);
  }
  ~BrokenPipeGuard() {
    const timespec now{};
    if (!wasPending_) sigtimedwait(&pipe_, nullptr, &now);
    pthread_sigmask(SIG_SETMASK, &former_, nullptr);
  }
  BrokenPipeGuard(const BrokenPipeGuard&) = delete;
  BrokenPipeGuard& operator=(const BrokenPipeGuard&) = delete;

 private:
  sigset_t pipe_{};
  sigset_t former_{};
  bool wasPending_ = false;
};

// Line by line: the system's log would show a line break within an entry as a code.
void logLines(int priority, std::string_view text) {
  while (!text.empty()) {
    const auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    syslog(priority, "%.*s", static_cast<int>(line.size()), line.data());
  }
}

}  // namespace

int syslogPriority(std::int64_t severity) {
  constexpr std::array kPriorities = {LOG_DEBUG,   LOG_DEBUG, LOG_INFO,
                                      LOG_WARNING, LOG_ERR,   LOG_CRIT};
  const auto last = static_cast<std::int64_t>(kPriorities.size()) - 1;
  return kPriorities.at(static_cast<std::size_t>(std::clamp<std::int64_t>(severity, 0, last)));
}

LinuxLog::LinuxLog(std::string identifier, std::int64_t standardErrorSeverity, int descriptor)
    : identifier_(std::move(identifier)),
      shownSeverity_(standardErrorSeverity),
      descriptor_(descriptor) {
  openlog(identifier_.c_str(), LOG_PID, LOG_USER);
}

LinuxLog::~LinuxLog() { closelog(); }

void LinuxLog::write(std::int64_t severity, std::string_view text) {
  logLines(syslogPriority(severity), text);
  if (severity < shownSeverity_) return;
  const std::string entry = std::string(text) + "\n";
  const std::lock_guard lock(mutex_);
  const BrokenPipeGuard guard;
  writeAll(descriptor_, entry);
}

std::size_t StandardErrorAlerts::runModal(const Alert& alert) {
  std::string text = alert.title + "\n";
  if (!alert.text.empty()) text += alert.text + "\n";
  writeAll(descriptor_, text);
  return 0;
}

}  // namespace platform
