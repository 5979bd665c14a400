#pragma once

#include <unistd.h>

#include <mutex>
#include <string>

#include "platform/Desktop.h"
#include "platform/Program.h"

namespace platform {

// Writes to syslog(3), and from a severity upwards to standard error as well. One exists at a time:
// the name under which entries go is the process's.
class LinuxLog : public SystemLog {
 public:
  // The descriptor stays the caller's.
  LinuxLog(std::string identifier, std::int64_t standardErrorSeverity,
           int descriptor = STDERR_FILENO);
  ~LinuxLog() override;
  LinuxLog(const LinuxLog&) = delete;
  LinuxLog& operator=(const LinuxLog&) = delete;

  void write(std::int64_t severity, std::string_view text) override;

 private:
  const std::string identifier_;  // the system's log keeps a pointer to it
  const std::int64_t shownSeverity_;
  const int descriptor_;
  std::mutex mutex_;  // keeps entries whole on standard error
};

// The system's priority for a severity of QVLog.
int syslogPriority(std::int64_t severity);

// Alerts where there is no screen: written out, never waited for; the answer is the first button.
class StandardErrorAlerts : public Alerts {
 public:
  // The descriptor stays the caller's.
  explicit StandardErrorAlerts(int descriptor = STDERR_FILENO) : descriptor_(descriptor) {}

  std::size_t runModal(const Alert& alert) override;

 private:
  int descriptor_;
};

}  // namespace platform
