#include "tests/support/PrivateBus.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "platform/posix/FileDescriptor.h"

namespace {

constexpr int kAddressDescriptor = 9;

std::string configuration(const std::string& address) {
  return "<busconfig><type>session</type><listen>" + address +
         "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/>"
         "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
         "<allow own=\"*\"/></policy>"
         "<limit name=\"max_outgoing_bytes\">1000000000</limit>"
         "<limit name=\"max_incoming_bytes\">1000000000</limit></busconfig>";
}

pid_t spawn(std::vector<std::string> command, int addressTo, const std::string& log) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (auto& part : command) arguments.push_back(part.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, addressTo, kAddressDescriptor);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(),
                                   O_WRONLY | O_CREAT | O_APPEND, 0600);
  pid_t made = 0;
  EXPECT_EQ(posix_spawnp(&made, arguments[0], &actions, nullptr, arguments.data(), environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  return made;
}

}  // namespace

PrivateBus::PrivateBus(std::vector<std::string> command) : command_(std::move(command)) {
  folder_.file("config", configuration(address()));
  chmod(folder_.directory("open").c_str(), 0777);
  chmod(folder_.path().c_str(), 0755);
  start();
}

PrivateBus::~PrivateBus() { stop(); }

void PrivateBus::start() {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  const platform::FileDescriptor told(ends[0]);
  platform::FileDescriptor telling(ends[1]);
  auto command = command_;
  command.insert(command.end(), {"dbus-daemon", "--nofork", "--nopidfile", "--nosyslog",
                                 "--config-file=" + folder_.path("config"),
                                 "--print-address=" + std::to_string(kAddressDescriptor)});
  daemon_ = spawn(std::move(command), telling.get(), folder_.path("log"));
  telling.reset();
  std::array<char, 256> text{};
  ASSERT_GT(read(told.get(), text.data(), text.size()), 0) << readFile(folder_.path("log"));
}

void PrivateBus::stop() {
  if (daemon_ == 0) return;
  goOn();
  kill(daemon_, SIGTERM);
  waitpid(daemon_, nullptr, 0);
  daemon_ = 0;
}

void PrivateBus::hang() const { kill(daemon_, SIGSTOP); }

void PrivateBus::goOn() const { kill(daemon_, SIGCONT); }
