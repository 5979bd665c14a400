#include "platform/linux/ProgramVersion.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <utility>

#include "platform/posix/FileDescriptor.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostOutput = 64U << 10U;  // bytes; a version is in the first line

class FileActions {
 public:
  FileActions() { posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;
  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_{};
};

// In a process group of its own, with no signal blocked.
class GroupLeader {
 public:
  GroupLeader() {
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_init(&attributes_);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
  }
  ~GroupLeader() { posix_spawnattr_destroy(&attributes_); }
  GroupLeader(const GroupLeader&) = delete;
  GroupLeader& operator=(const GroupLeader&) = delete;
  posix_spawnattr_t* get() { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

std::optional<pid_t> startAsking(const std::string& executable, int output) {
  FileActions actions;
  GroupLeader attributes;
  posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(actions.get(), output, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(actions.get(), STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string program = executable;
  std::string question = "--version";
  const std::array<char*, 3> arguments = {program.data(), question.data(), nullptr};
  pid_t child = 0;
  if (posix_spawn(&child, program.c_str(), actions.get(), attributes.get(), arguments.data(),
                  environ) != 0)
    return std::nullopt;
  return child;
}

// false at the end of the time; true once all of the output is there, or enough of it.
bool readUntil(Clock::time_point deadline, int descriptor, std::string& text) {
  std::array<char, 4096> buffer{};
  while (text.size() < kMostOutput) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd waiting{descriptor, POLLIN, 0};
    const int ready = left > 0 ? poll(&waiting, 1, static_cast<int>(left)) : 0;
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    const ssize_t got = read(descriptor, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
  return true;
}

// Once it has answered, or the time is up, nothing of it is wanted any more.
void endGroup(pid_t child) {
  kill(-child, SIGKILL);
  while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

bool isDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

}  // namespace

std::optional<std::string> firstDottedNumber(std::string_view text) {
  while (true) {
    const auto start = text.find_first_of("0123456789");
    if (start == std::string_view::npos) return std::nullopt;
    text.remove_prefix(start);
    auto number = text.substr(0, text.find_first_not_of("0123456789."));
    text.remove_prefix(number.size());
    while (!isDigit(number.back())) number.remove_suffix(1);
    if (number.find('.') != std::string_view::npos) return std::string(number);
  }
}

std::optional<std::string> askedVersion(const std::string& executable,
                                        std::chrono::milliseconds limit) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const auto child = startAsking(executable, writing.get());
  writing = FileDescriptor();
  if (!child) return std::nullopt;
  std::string output;
  const bool answered = readUntil(Clock::now() + limit, reading.get(), output);
  endGroup(*child);
  return answered ? firstDottedNumber(output) : std::nullopt;
}

}  // namespace platform
