#include "tests/support/Companion.h"

#include <spawn.h>

#include "tests/support/Test.h"

namespace {

pid_t start(std::vector<std::string> command, int tellOn, const std::string& log) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (auto& part : command) arguments.push_back(part.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (tellOn >= 0) posix_spawn_file_actions_adddup2(&actions, tellOn, Companion::kTellOn);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(),
                                   O_WRONLY | O_CREAT | O_APPEND, 0600);
  pid_t made = 0;
  EXPECT_EQ(posix_spawnp(&made, arguments[0], &actions, nullptr, arguments.data(), environ), 0)
      << command[0];
  posix_spawn_file_actions_destroy(&actions);
  return made;
}

}  // namespace

Companion::Companion(std::vector<std::string> command, int tellOn, const std::string& log)
    : process_(start(std::move(command), tellOn, log)) {}

Companion::Companion(Companion&& other) noexcept : process_(std::exchange(other.process_, 0)) {}

Companion& Companion::operator=(Companion&& other) noexcept {
  end();
  process_ = std::exchange(other.process_, 0);
  return *this;
}

void Companion::signal(int number) const {
  if (process_ > 0) kill(process_, number);
}

void Companion::end() {
  signal(SIGTERM);
  if (process_ > 0) endingSignal();
}

int Companion::endingSignal() {
  int status = 0;
  EXPECT_EQ(waitpid(process_, &status, 0), process_);
  process_ = 0;
  return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}
