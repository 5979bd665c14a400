#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <vector>

#include "leaf/Descriptor.h"
#include "platform/linux/Bus.h"
#include "tests/support/Scratch.h"
#include "tests/support/Variables.h"

using namespace platform;
using namespace std::chrono_literals;

namespace {

// A bus that hangs up on whoever connects.
class HangingUp {
 public:
  HangingUp() {
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    folder_.path("bus").copy(place.sun_path, sizeof place.sun_path - 1);
    EXPECT_EQ(bind(listening_.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    EXPECT_EQ(listen(listening_.get(), 8), 0);
  }
  std::string address() const { return "unix:path=" + folder_.path("bus"); }

  // When the next one connected.
  std::chrono::steady_clock::time_point next() const {
    pollfd waiting{listening_.get(), POLLIN, 0};
    EXPECT_EQ(poll(&waiting, 1, 60'000), 1) << "nobody tries";
    const auto now = std::chrono::steady_clock::now();
    close(accept(listening_.get(), nullptr, nullptr));
    return now;
  }

 private:
  Scratch folder_;
  const Descriptor listening_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

TEST(LinuxBus, IsWhereTheEnvironmentSays) {
  const struct {
    Variables variables;
    std::string session;
    std::string system = "unix:path=/run/dbus/system_bus_socket";
  } cases[] = {{{}, ""},
               {{{"XDG_RUNTIME_DIR", "relative"}}, ""},
               {{{"XDG_RUNTIME_DIR", "/run/a b,;=%"}}, "unix:path=/run/a%20b%2c%3b%3d%25/bus"},
               {{{"XDG_RUNTIME_DIR", "/run"},
                 {"DBUS_SESSION_BUS_ADDRESS", "unix:abstract=x"},
                 {"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/y"}},
                "unix:abstract=x",
                "unix:path=/y"}};
  for (const auto& each : cases) {
    EXPECT_EQ(sessionBusAddress(environmentOf(each.variables)), each.session);
    EXPECT_EQ(systemBusAddress(environmentOf(each.variables)), each.system) << each.session;
  }
}

// No pause is shorter than it should be, and the last ones are not as long as twice the former each
// time would be, which is eight seconds.
TEST(LinuxBus, IsTriedAgainAfterPausesThatGrowUpToALimit) {
  const HangingUp bus;
  std::atomic<int> losses{0};
  const Bus trying(bus.address(), BusOwner::ThisUser, {[](sd_bus*) {}, [&](int) { ++losses; }},
                   {.shortest = 16ms, .longest = 64ms});
  auto former = bus.next();
  auto last = 0ns;
  for (const auto pause : {16ms, 32ms, 64ms, 64ms, 64ms, 64ms, 64ms, 64ms, 64ms, 64ms}) {
    const auto next = bus.next();
    last = next - former;
    EXPECT_GE(last, pause);
    former = next;
  }
  EXPECT_LT(last, 4s);
  EXPECT_EQ(losses, 1) << "told once, not for each vain try";
}

}  // namespace
