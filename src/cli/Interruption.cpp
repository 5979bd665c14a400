#include "cli/Interruption.h"

#include <atomic>
#include <csignal>

namespace cli {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// A signal handler reaches nothing else.
std::atomic<bool> wasNoted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void noteInterruption(int) {
  wasNoted = true;
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
  std::signal(SIGHUP, SIG_DFL);
}

}  // namespace

// What was ignored before, as under nohup, stays so.
Interruption::Interruption() {
  wasNoted = false;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    former_[i] = std::signal(kSignals[i], kSignals[i] == SIGPIPE ? SIG_IGN : noteInterruption);
    if (former_[i] == SIG_IGN) std::signal(kSignals[i], SIG_IGN);
  }
}

Interruption::~Interruption() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) std::signal(kSignals[i], former_[i]);
}

bool Interruption::noted() const { return wasNoted; }

}  // namespace cli
