#include "cli/Interruption.h"

#include <atomic>
#include <csignal>

#include "system/Command.h"

namespace cli {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ};

// A reader that is gone and a file that may not grow are failed calls.
bool isFailedCall(int signal) { return signal == SIGPIPE || signal == SIGXFSZ; }

// A signal handler reaches nothing else.
std::atomic<bool> wasNoted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

// The programs that run for this one do not hear of the terminal themselves.
extern "C" void endAtOnce(int number) {
  endRunningPrograms();
  std::signal(number, SIG_DFL);
  std::raise(number);
}

extern "C" void noteInterruption(int) {
  wasNoted = true;
  std::signal(SIGINT, endAtOnce);
  std::signal(SIGTERM, endAtOnce);
  std::signal(SIGHUP, endAtOnce);
}

}  // namespace

// What was ignored before, as under nohup, stays so.
Interruption::Interruption() {
  wasNoted = false;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    former_[i] = std::signal(kSignals[i], isFailedCall(kSignals[i]) ? SIG_IGN : noteInterruption);
    if (former_[i] == SIG_IGN) std::signal(kSignals[i], SIG_IGN);
  }
}

Interruption::~Interruption() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) std::signal(kSignals[i], former_[i]);
}

bool Interruption::noted() const { return wasNoted; }

}  // namespace cli
