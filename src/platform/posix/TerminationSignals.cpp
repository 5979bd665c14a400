#include "platform/posix/TerminationSignals.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace platform {
namespace {

constexpr std::array kSignals = {SIGTERM, SIGINT, SIGHUP};
constexpr char kAsked = 'a';
constexpr char kEnd = 'e';

// A signal handler reaches nothing else.
std::atomic<int> pipeOfHandler{-1};
static_assert(std::atomic<int>::is_always_lock_free);

// A full pipe already holds what there is to say.
void tell(int descriptor, char what) {
  const int kept = errno;
  if (write(descriptor, &what, 1) < 0) errno = 0;
  errno = kept;
}

extern "C" void noteTermination(int) { tell(pipeOfHandler, kAsked); }

void install(int signal, void (*handler)(int)) {
  struct sigaction former {};
  if (sigaction(signal, nullptr, &former) != 0 || former.sa_handler == SIG_IGN) return;
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

void listen(int descriptor, const std::function<void()>& asked) {
  char what = 0;
  while (true) {
    const ssize_t got = read(descriptor, &what, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 || what == kEnd) return;
    asked();
  }
}

}  // namespace

TerminationSignals::TerminationSignals(std::function<void()> asked) {
  std::array<int, 2> ends = {-1, -1};
  if (pipe(ends.data()) != 0) return;  // the signals end the process as ever
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  fcntl(ends[1], F_SETFL, O_NONBLOCK);
  reading_.reset(ends[0]);
  writing_.reset(ends[1]);
  thread_ =
      std::thread([descriptor = ends[0], asked = std::move(asked)] { listen(descriptor, asked); });
  pipeOfHandler = ends[1];
  for (const int signal : kSignals) install(signal, noteTermination);
  for (const int failedCall : {SIGPIPE, SIGXFSZ}) install(failedCall, SIG_IGN);
}

TerminationSignals::~TerminationSignals() {
  if (!thread_.joinable()) return;
  for (const int signal : kSignals) install(signal, SIG_DFL);
  tell(writing_.get(), kEnd);
  thread_.join();
}

}  // namespace platform
