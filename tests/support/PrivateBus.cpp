#include "tests/support/PrivateBus.h"

#include <systemd/sd-bus.h>

#include "leaf/Descriptor.h"
#include "tests/support/Test.h"

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
  const Descriptor told(ends[0]);
  Descriptor telling(ends[1]);
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

BusService::BusService(const std::string& address, std::string name, std::string path,
                       std::function<int(sd_bus_message*)> answer)
    : name_(std::move(name)),
      path_(std::move(path)),
      answer_(std::move(answer)),
      bus_(address, platform::BusOwner::Anybody,
           {[this](sd_bus* bus) {
              const auto handler = [](sd_bus_message* message, void* self, sd_bus_error*) {
                return static_cast<BusService*>(self)->answer_(message);
              };
              EXPECT_GE(sd_bus_add_object(bus, nullptr, path_.c_str(), handler, this), 0);
              EXPECT_GE(sd_bus_request_name(bus, name_.c_str(), 0), 0);
            },
            [](int) {}}) {
  perform([](sd_bus* bus) { EXPECT_NE(bus, nullptr); });
}

void BusService::perform(const platform::Bus::Work& work) {
  bus_.performAndWait(work, std::chrono::minutes(1));
}

void BusService::sendSignal(const std::string& interface, const std::string& signal,
                            const std::function<int(sd_bus_message*)>& append) {
  perform([&](sd_bus* bus) {
    sd_bus_message* made = nullptr;
    EXPECT_GE(
        sd_bus_message_new_signal(bus, &made, path_.c_str(), interface.c_str(), signal.c_str()), 0);
    const platform::BusMessage message(made);
    EXPECT_GE(append(made), 0);
    EXPECT_GE(sd_bus_send(bus, made, nullptr), 0);
  });
}
