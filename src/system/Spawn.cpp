#include "system/Spawn.h"

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

extern char** environ;

namespace {

// The null-terminated array that C wants of texts that outlive it.
std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> argumentTexts(const SpawnRequest& request) {
  std::vector<std::string> texts = {request.path};
  texts.insert(texts.end(), request.arguments.begin(), request.arguments.end());
  return texts;
}

std::vector<std::string> environmentTexts(const SpawnRequest& request) {
  std::vector<std::string> texts;
  if (!request.environment) return texts;
  for (const auto& [name, value] : *request.environment)
    texts.push_back(fmt::format("{}={}", name, value));
  return texts;
}

class FileActions {
 public:
  FileActions() { posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  void put(int from, int to) {
    if (from >= 0) note(posix_spawn_file_actions_adddup2(&actions_, from, to));
  }
  void enter(const std::optional<std::string>& directory) {
    if (directory) note(posix_spawn_file_actions_addchdir_np(&actions_, directory->c_str()));
  }
  int error() const { return error_; }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  void note(int code) {
    if (error_ == 0) error_ = code;
  }

  posix_spawn_file_actions_t actions_;
  int error_ = 0;
};

class SpawnAttributes {
 public:
  SpawnAttributes() {
    sigset_t none;
    sigset_t restored;
    sigemptyset(&none);
    sigemptyset(&restored);
    sigaddset(&restored, SIGPIPE);
    sigaddset(&restored, SIGCHLD);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &restored);
    posix_spawnattr_setflags(&attributes_, kFlags);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  static constexpr short kFlags =
      POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID;

  posix_spawnattr_t attributes_;
};

// The programs that are waited for now; what a signal handler can reach. One that finds no room is
// waited for all the same. A program stays here until it is about to be reaped, so that its number
// is nobody else's.
std::array<std::atomic<pid_t>, 64> running{};
static_assert(std::atomic<pid_t>::is_always_lock_free);

void replaceRunning(pid_t from, pid_t to) {
  for (auto& place : running) {
    pid_t expected = from;
    if (place.compare_exchange_strong(expected, to)) return;
  }
}

int awaitEnd(pid_t process) {
  siginfo_t ended{};
  while (waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

}  // namespace

int spawnProgram(const SpawnRequest& request, pid_t& process) {
  FileActions actions;
  actions.put(request.standardOutput, STDOUT_FILENO);
  actions.put(request.standardError, STDERR_FILENO);
  actions.enter(request.directory);
  if (actions.error() != 0) return actions.error();

  const SpawnAttributes attributes;
  auto arguments = argumentTexts(request);
  auto variables = environmentTexts(request);
  return posix_spawn(&process, request.path.c_str(), actions.get(), attributes.get(),
                     pointersTo(arguments).data(),
                     request.environment ? pointersTo(variables).data() : environ);
}

int awaitProgram(pid_t process, std::int64_t& status) {
  replaceRunning(0, process);
  const int error = awaitEnd(process);
  replaceRunning(process, 0);
  if (error != 0) return error;
  int raw = 0;
  while (waitpid(process, &raw, 0) < 0) {
    if (errno != EINTR) return errno;
  }
  status = WIFSIGNALED(raw) ? WTERMSIG(raw) : WEXITSTATUS(raw);
  return 0;
}

// Each is the first of its session and so of a group of the same number.
void endRunningPrograms() {
  for (const auto& place : running) {
    const pid_t process = place;
    if (process > 0) kill(-process, SIGTERM);
  }
}
