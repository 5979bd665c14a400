#include "tests/support/ScreenReader.h"

#include <spawn.h>
#include <systemd/sd-bus.h>

#include "tests/support/Test.h"

using platform::BusMessage;

namespace {

constexpr char kLauncher[] = "/usr/libexec/at-spi-bus-launcher";
constexpr char kRegistry[] = "org.a11y.atspi.Registry";
constexpr char kNode[] = "org.a11y.atspi.Accessible";
constexpr int kDeepest = 8;
constexpr std::uint32_t kShowingState = 25;

// The answer, null for none.
template <class... Arguments>
BusMessage call(sd_bus* bus, const ScreenReader::Place& to, const char* interface,
                const char* method, const char* types, Arguments... arguments) {
  sd_bus_message* reply = nullptr;
  sd_bus_call_method(bus, to.first.c_str(), to.second.c_str(), interface, method, nullptr, &reply,
                     types, arguments...);
  return BusMessage(reply);
}

BusMessage property(sd_bus* bus, const ScreenReader::Place& of, const char* name,
                    const char* type) {
  sd_bus_message* reply = nullptr;
  sd_bus_get_property(bus, of.first.c_str(), of.second.c_str(), kNode, name, nullptr, &reply, type);
  return BusMessage(reply);
}

std::string text(const BusMessage& reply) {
  const char* read = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "s", &read) < 0) return {};
  return read;
}

std::string roleOf(sd_bus* bus, const ScreenReader::Place& place) {
  return text(call(bus, place, kNode, "GetRoleName", ""));
}

std::string parentOf(sd_bus* bus, const ScreenReader::Place& place) {
  const auto reply = property(bus, place, "Parent", "(so)");
  const char* ignored = nullptr;
  const char* read = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "(so)", &ignored, &read) < 0) return {};
  return read;
}

void readPlace(sd_bus* bus, ScreenReader::Thing& thing) {
  const auto reply =
      call(bus, thing.at, "org.a11y.atspi.Component", "GetExtents", "u", std::uint32_t{0});
  if (reply)
    sd_bus_message_read(reply.get(), "(iiii)", &thing.x, &thing.y, &thing.width, &thing.height);
}

void readStates(sd_bus* bus, ScreenReader::Thing& thing) {
  const auto reply = call(bus, thing.at, kNode, "GetState", "");
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "u") < 0 ||
      sd_bus_message_read(reply.get(), "uu", &low, &high) < 0)
    return;
  thing.isShowing = (low >> kShowingState & 1U) != 0;
}

std::vector<ScreenReader::Place> childrenOf(sd_bus* bus, const ScreenReader::Place& place) {
  std::vector<ScreenReader::Place> children;
  const auto reply = call(bus, place, kNode, "GetChildren", "");
  if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "(so)") < 0) return children;
  const char* child = nullptr;
  const char* path = nullptr;
  while (sd_bus_message_read(reply.get(), "(so)", &child, &path) > 0)
    children.emplace_back(child, path);
  return children;
}

pid_t startLauncher(const std::string& sessionBus) {
  const std::string bus = "DBUS_SESSION_BUS_ADDRESS=" + sessionBus;
  std::array<const char*, 6> command = {"env",   bus.c_str(), kLauncher, "--launch-immediately",
                                        nullptr, nullptr};
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);  // ended with what it starts
  pid_t made = 0;
  EXPECT_EQ(posix_spawnp(&made, "env", nullptr, &attributes,
                         const_cast<char* const*>(command.data()), environ),
            0);
  posix_spawnattr_destroy(&attributes);
  return made;
}

}  // namespace

ScreenReader::ScreenReader(const std::string& sessionBus) : launcher_(startLauncher(sessionBus)) {
  connect(sessionBus);
}

ScreenReader::~ScreenReader() {
  if (launcher_ <= 0) return;
  kill(-launcher_, SIGTERM);
  waitpid(launcher_, nullptr, 0);
}

// The launcher owns its name some time after its start. Programs send what somebody registered for.
void ScreenReader::connect(const std::string& sessionBus) {
  constexpr auto kAnybody = platform::BusOwner::Anybody;
  platform::BusConnection session;
  ASSERT_EQ(platform::openBus(sessionBus, kAnybody, session), 0);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  std::string address;
  while (address.empty() && std::chrono::steady_clock::now() < limit)
    address = text(
        call(session.get(), {"org.a11y.Bus", "/org/a11y/bus"}, "org.a11y.Bus", "GetAddress", ""));
  ASSERT_EQ(platform::openBus(address, kAnybody, bus_), 0) << "no accessibility bus";
  ASSERT_TRUE(platform::listenTo(
      bus_.get(), {nullptr, nullptr, "org.a11y.atspi.Event.Object", nullptr, nullptr}, listener_));
  for (const char* event : {"object:state-changed:focused", "object:state-changed:showing"})
    ASSERT_TRUE(call(bus_.get(), {kRegistry, "/org/a11y/atspi/registry"}, kRegistry,
                     "RegisterEvent", "s", event));
}

void ScreenReader::hear(sd_bus_message* message) {
  heard_.emplace(sd_bus_message_get_sender(message), sd_bus_message_get_path(message));
}

std::set<ScreenReader::Place> ScreenReader::menus() const {
  std::set<Place> found;
  for (auto place : heard_) {
    if (roleOf(bus_.get(), place) == "menu item") place.second = parentOf(bus_.get(), place);
    if (roleOf(bus_.get(), place) == "popup menu") found.insert(place);
  }
  return found;
}

std::vector<ScreenReader::Thing> ScreenReader::things() {
  while (sd_bus_process(bus_.get(), nullptr) > 0) continue;
  std::vector<Thing> found;
  for (const auto& place : childrenOf(bus_.get(), {kRegistry, "/org/a11y/atspi/accessible/root"}))
    collect(place, 0, found);
  for (const auto& place : menus()) collect(place, 1, found);
  return found;
}

// Applications show through their windows only.
void ScreenReader::collect(const Place& place, int depth, std::vector<Thing>& into) const {
  if (depth > kDeepest) return;
  Thing thing{place};
  readStates(bus_.get(), thing);
  if (depth > 0 && !thing.isShowing) return;
  thing.name = text(property(bus_.get(), place, "Name", "s"));
  thing.role = roleOf(bus_.get(), place);
  readPlace(bus_.get(), thing);
  if (thing.isShowing) into.push_back(thing);
  for (const auto& child : childrenOf(bus_.get(), place)) collect(child, depth + 1, into);
}

std::optional<ScreenReader::Thing> ScreenReader::find(const std::string& name) {
  for (auto& thing : things())
    if (thing.name.find(name) != std::string::npos) return std::move(thing);
  return std::nullopt;
}
