#include "platform/linux/LinuxNotifications.h"

#include <malloc.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>

#include <ctime>

#include "leaf/Descriptor.h"
#include "tests/support/Doubles.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/TurningLoop.h"
#include "tests/support/Variables.h"

using namespace platform;
using namespace std::chrono_literals;

namespace {

constexpr char kNotification[] = "ListDidChange";
constexpr char kObjectPath[] = "/com/tarnvale/Notifications";
constexpr char kInterface[] = "com.tarnvale.Notifications";

class LinuxNotificationsTest : public testing::Test {
 protected:
  std::unique_ptr<LinuxNotifications> program(const std::string& address) {
    return std::make_unique<LinuxNotifications>(loop, log, address);
  }
  std::unique_ptr<LinuxNotifications> program() { return program(bus.address()); }
  std::unique_ptr<LinuxNotifications> listening(const std::string& address) {
    auto made = program(address);
    listen(*made);
    return made;
  }
  std::unique_ptr<LinuxNotifications> listening() { return listening(bus.address()); }

  // Notes what the program hears as "object" and the user information.
  void listen(LinuxNotifications& to) {
    to.observe(kNotification, [this](const Notification& one) {
      EXPECT_TRUE(loop->isMainThread());
      std::string text = one.object;
      for (const auto& [key, value] : one.userInfo) text.append(" ").append(key).append(value);
      heard.push_back(text);
    });
  }

  void runUntilHeard(const std::string& last) {
    loop->runUntil([&] { return !heard.empty() && heard.back() == last; });
  }

  PrivateBus bus;
  std::shared_ptr<TurningLoop> loop = std::make_shared<TurningLoop>();
  std::shared_ptr<doubles::RecordingLog> log = std::make_shared<doubles::RecordingLog>();
  std::vector<std::string> heard;
};

// Signals as anybody on the bus may send them.
class RawSender {
 public:
  explicit RawSender(const std::string& address) {
    EXPECT_EQ(openBus(address, BusOwner::Anybody, connection_), 0);
  }
  template <class... Args>
  void send(const char* path, const char* interface, const char* member, const char* types,
            Args... args) {
    EXPECT_GE(sd_bus_emit_signal(connection_.get(), path, interface, member, types, args...), 0);
    EXPECT_GE(sd_bus_flush(connection_.get()), 0);
  }
  void post(const char* object) {
    send(kObjectPath, kInterface, "Posted", "ssa{ss}", kNotification, object, 0);
  }

  void sendMalformed() {
    const auto posted = [&](const char* types, auto... args) {
      send(kObjectPath, kInterface, "Posted", types, args...);
    };
    posted("ss", kNotification, "short");
    posted("ssa{sv}", kNotification, "variant", 1, "key", "i", 4);
    posted("");
    posted("ssa{ss}", kNotification, std::string(70'000, 'x').c_str(), 0);
    send(kObjectPath, kInterface, "Sent", "ssa{ss}", kNotification, "member", 0);
    send(kObjectPath, "com.tarnvale.Other", "Posted", "ssa{ss}", kNotification, "interface", 0);
    send("/com/tarnvale/Other", kInterface, "Posted", "ssa{ss}", kNotification, "path", 0);
  }

 private:
  BusConnection connection_;
};

std::chrono::milliseconds processorTime() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return std::chrono::milliseconds(used.tv_sec * 1000 + used.tv_nsec / 1'000'000);
}

std::size_t threadCount() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

TEST_F(LinuxNotificationsTest, ReachOthersAndThisProgramOnce) {
  const auto here = listening();
  here->post({kNotification, "own", {{"a", "1"}, {"b", "\u00e4\n"}}});
  const std::string invalid("\xff");
  here->post({kNotification, invalid, {}});  // goes no further than this program
  const auto others = program();
  others->post({"Other", "of no interest", {}});
  others->post({kNotification, "other", {{"", ""}, {"k", "v"}}});
  loop->runUntil([&] { return heard.size() >= 3; });
  others->post({kNotification, "last", {}});
  runUntilHeard("last");
  std::sort(heard.begin(), heard.end());
  EXPECT_EQ(heard, (std::vector<std::string>{"last", "other  kv", "own a1 b\u00e4\n", invalid}));
  EXPECT_EQ(log->entries().size(), 1U) << "of the invalid text";
}

TEST_F(LinuxNotificationsTest, MissNothingInABurstAndKeepNothingOfIt) {
  constexpr std::size_t kBurst = 10'000;
  const auto here = listening();
  RawSender sender(bus.address());
  RawSender other(bus.address());
  std::size_t inUse = 0;
  for (const int round : {1, 2}) {
    heard.clear();
    heard.reserve(kBurst + 1);
    for (std::size_t i = 0; i < kBurst; ++i) {  // the main loop is busy all the time
      if (i % 100 == 0) other.sendMalformed();
      sender.post(std::to_string(i).c_str());
    }
    runUntilHeard(std::to_string(kBurst - 1));
    ASSERT_EQ(heard.size(), kBurst);
    for (std::size_t i = 0; i < kBurst; ++i) ASSERT_EQ(heard[i], std::to_string(i));
    EXPECT_LE(loop->most(), 256U);
    const std::size_t now = mallinfo2().uordblks;
    EXPECT_TRUE(round == 1 || now < inUse + 262'144) << now - inUse;
    inUse = now;
  }
  EXPECT_TRUE(log->entries().empty());
}

TEST_F(LinuxNotificationsTest, ArriveWholeThoughTheirProgramEnds) {
  const auto here = listening();
  constexpr std::size_t kBurst = 10'000;
  {
    LinuxNotifications other(std::make_shared<TurningLoop>(), log, bus.address());
    for (std::size_t i = 0; i < kBurst; ++i) other.post({kNotification, std::to_string(i), {}});
  }
  runUntilHeard(std::to_string(kBurst - 1));
  EXPECT_EQ(heard.size(), kBurst);
}

TEST_F(LinuxNotificationsTest, StayWithinTheProgramWhereThereIsNoBus) {
  for (const std::string address : {"", "unix:path=/nonexistent/bus", "autolaunch:", "nonsense"}) {
    heard.clear();
    log->clear();
    const auto here = listening(address);
    for (int i = 0; i < 50; ++i) here->post({kNotification, "own", {}});
    loop->runUntil([&] { return heard.size() == 50; });
    EXPECT_EQ(log->entries().size(), 1U) << address;
    EXPECT_EQ(log->count("no session bus"), 1U) << address;
  }
}

TEST_F(LinuxNotificationsTest, CostNothingUntilUsed) {
  const std::size_t threads = threadCount();
  const auto here = program();
  EXPECT_EQ(threadCount(), threads);
  here->post({kNotification, "", {}});
  EXPECT_EQ(threadCount(), threads + 1);
}

TEST_F(LinuxNotificationsTest, UseTheBusAgainWhenItIsBack) {
  const auto here = listening();
  const auto other = program();
  other->post({kNotification, "before", {}});
  runUntilHeard("before");

  bus.stop();
  loop->runUntil([&] { return log->count("no session bus") == 2; });
  const auto used = processorTime();
  here->post({kNotification, "meanwhile", {}});
  runUntilHeard("meanwhile");
  bus.start();
  loop->runUntil([&] { return log->count("is back") == 2; });
  EXPECT_LT(processorTime() - used, std::chrono::milliseconds(300)) << "a second of waiting";
  other->post({kNotification, "after", {}});
  runUntilHeard("after");
  EXPECT_EQ(heard, (std::vector<std::string>{"before", "meanwhile", "after"}));
  EXPECT_EQ(log->entries().size(), 4U);
}

TEST_F(LinuxNotificationsTest, DoNotWaitForABusThatHangs) {
  const auto start = std::chrono::steady_clock::now();
  bus.hang();
  {
    const auto here = listening();
    here->post({kNotification, "own", {}});
    runUntilHeard("own");
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  bus.goOn();
}

TEST_F(LinuxNotificationsTest, DoNotUseTheBusOfAnotherUser) {
  if (std::system("setpriv --reuid=1000 --regid=1000 --clear-groups true 2>&-") != 0)
    GTEST_SKIP() << "takes the superuser, to be another";
  PrivateBus foreign({"setpriv", "--reuid=1000", "--regid=1000", "--clear-groups"});
  RawSender reachable(foreign.address());
  const auto here = listening(foreign.address());
  EXPECT_EQ(log->count("not permitted"), 1U);
  here->post({kNotification, "own", {}});
  runUntilHeard("own");
}

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
