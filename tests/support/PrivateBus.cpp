#include "tests/support/PrivateBus.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>

#include "platform/posix/FileDescriptor.h"

namespace {

std::string configuration(const std::string& address) {
  return "<busconfig><type>session</type><listen>" + address +
         "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/>"
         "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
         "<allow own=\"*\"/></policy>"
         "<limit name=\"max_outgoing_bytes\">1000000000</limit>"
         "<limit name=\"max_incoming_bytes\">1000000000</limit></busconfig>";
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
                                 "--print-address=" + std::to_string(Companion::kTellOn)});
  daemon_ = Companion(std::move(command), telling.get(), folder_.path("log"));
  telling.reset();
  std::array<char, 256> text{};
  ASSERT_GT(read(told.get(), text.data(), text.size()), 0) << readFile(folder_.path("log"));
}

void PrivateBus::stop() {
  goOn();
  daemon_.end();
}

void PrivateBus::hang() const { daemon_.signal(SIGSTOP); }

void PrivateBus::goOn() const { daemon_.signal(SIGCONT); }
