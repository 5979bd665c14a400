#include "tests/support/ScreenReader.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>

#include <array>
#include <chrono>
#include <csignal>
#include <memory>
#include <utility>

namespace {

constexpr char kLauncher[] = "/usr/libexec/at-spi-bus-launcher";
constexpr char kRegistry[] = "org.a11y.atspi.Registry";
constexpr char kNode[] = "org.a11y.atspi.Accessible";
constexpr int kDeepest = 8;
constexpr std::uint64_t kPatience = 2'000'000;  // microseconds
constexpr std::uint32_t kShowingState = 25;

struct CloseMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, CloseMessage>;

template <class... Arguments>
Message call(sd_bus* bus, const std::string& to, const std::string& path, const char* interface,
             const char* method, const char* types, Arguments... arguments) {
  sd_bus_message* request = nullptr;
  sd_bus_message* reply = nullptr;
  sd_bus_error error = SD_BUS_ERROR_NULL;
  if (sd_bus_message_new_method_call(bus, &request, to.c_str(), path.c_str(), interface, method) <
      0)
    return nullptr;
  const Message made(request);
  if (*types != '\0') sd_bus_message_append(request, types, arguments...);
  sd_bus_call(bus, request, kPatience, &error, &reply);
  sd_bus_error_free(&error);
  return Message(reply);
}

std::string text(const Message& reply) {
  const char* read = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "s", &read) < 0) return {};
  return read;
}

std::string roleOf(sd_bus* bus, const std::string& to, const std::string& path) {
  return text(call(bus, to, path, kNode, "GetRoleName", ""));
}

std::string parentOf(sd_bus* bus, const std::string& to, const std::string& path) {
  const auto reply =
      call(bus, to, path, "org.freedesktop.DBus.Properties", "Get", "ss", kNode, "Parent");
  const char* ignored = nullptr;
  const char* read = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "v", "(so)", &ignored, &read) < 0) return {};
  return read;
}

std::string nameOf(sd_bus* bus, const ScreenReader::Thing& thing) {
  const auto reply = call(bus, thing.bus, thing.path, "org.freedesktop.DBus.Properties", "Get",
                          "ss", kNode, "Name");
  const char* read = nullptr;
  if (!reply || sd_bus_message_read(reply.get(), "v", "s", &read) < 0) return {};
  return read;
}

void readPlace(sd_bus* bus, ScreenReader::Thing& thing) {
  const auto reply = call(bus, thing.bus, thing.path, "org.a11y.atspi.Component", "GetExtents", "u",
                          std::uint32_t{0});
  if (reply)
    sd_bus_message_read(reply.get(), "(iiii)", &thing.x, &thing.y, &thing.width, &thing.height);
}

void readStates(sd_bus* bus, ScreenReader::Thing& thing) {
  const auto reply = call(bus, thing.bus, thing.path, kNode, "GetState", "");
  std::uint32_t low = 0;
  std::uint32_t high = 0;
  if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "u") < 0 ||
      sd_bus_message_read(reply.get(), "uu", &low, &high) < 0)
    return;
  thing.isShowing = (low >> kShowingState & 1U) != 0;
}

std::vector<std::pair<std::string, std::string>> childrenOf(sd_bus* bus, const std::string& to,
                                                            const std::string& path) {
  std::vector<std::pair<std::string, std::string>> children;
  const auto reply = call(bus, to, path, kNode, "GetChildren", "");
  if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "(so)") < 0) return children;
  const char* child = nullptr;
  const char* childPath = nullptr;
  while (sd_bus_message_read(reply.get(), "(so)", &child, &childPath) > 0)
    children.emplace_back(child, childPath);
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

sd_bus* opened(const std::string& address) {
  sd_bus* bus = nullptr;
  if (sd_bus_new(&bus) < 0) return nullptr;
  sd_bus_set_address(bus, address.c_str());
  sd_bus_set_bus_client(bus, 1);
  if (sd_bus_start(bus) >= 0) return bus;
  return sd_bus_unref(bus);
}

}  // namespace

ScreenReader::ScreenReader(std::string sessionBus)
    : sessionBus_(std::move(sessionBus)), launcher_(startLauncher(sessionBus_)) {
  connect();
}

ScreenReader::~ScreenReader() {
  sd_bus_flush_close_unref(bus_);
  if (launcher_ <= 0) return;
  kill(-launcher_, SIGTERM);
  waitpid(launcher_, nullptr, 0);
}

// The launcher owns its name some time after its start.
void ScreenReader::connect() {
  sd_bus* session = opened(sessionBus_);
  ASSERT_NE(session, nullptr);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  std::string address;
  while (address.empty() && std::chrono::steady_clock::now() < limit)
    address =
        text(call(session, "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", ""));
  sd_bus_flush_close_unref(session);
  ASSERT_FALSE(address.empty()) << "no accessibility bus";
  bus_ = opened(address);
  ASSERT_NE(bus_, nullptr) << address;
  listen();
}

// Programs send what somebody registered for.
void ScreenReader::listen() {
  ASSERT_GE(sd_bus_add_match(
                bus_, nullptr, "type='signal',interface='org.a11y.atspi.Event.Object'",
                [](sd_bus_message* message, void* self, sd_bus_error*) {
                  static_cast<ScreenReader*>(self)->heard_.emplace(
                      sd_bus_message_get_sender(message), sd_bus_message_get_path(message));
                  return 0;
                },
                this),
            0);
  for (const char* event : {"object:state-changed:focused", "object:state-changed:showing"})
    ASSERT_TRUE(
        call(bus_, kRegistry, "/org/a11y/atspi/registry", kRegistry, "RegisterEvent", "s", event));
}

void ScreenReader::hear() {
  while (sd_bus_process(bus_, nullptr) > 0) continue;
}

std::set<ScreenReader::Place> ScreenReader::menus() const {
  std::set<Place> found;
  for (auto [bus, path] : heard_) {
    if (roleOf(bus_, bus, path) == "menu item") path = parentOf(bus_, bus, path);
    if (roleOf(bus_, bus, path) == "popup menu") found.emplace(bus, path);
  }
  return found;
}

std::vector<ScreenReader::Thing> ScreenReader::things() {
  hear();
  std::vector<Thing> found;
  for (const auto& [bus, path] : childrenOf(bus_, kRegistry, "/org/a11y/atspi/accessible/root"))
    collect(bus, path, 0, found);
  for (const auto& [bus, path] : menus()) collect(bus, path, 1, found);
  return found;
}

// Applications show through their windows only.
void ScreenReader::collect(const std::string& bus, const std::string& path, int depth,
                           std::vector<Thing>& into) const {
  if (depth > kDeepest) return;
  Thing thing{bus, path};
  readStates(bus_, thing);
  if (depth > 0 && !thing.isShowing) return;
  thing.name = nameOf(bus_, thing);
  thing.role = roleOf(bus_, bus, path);
  readPlace(bus_, thing);
  if (thing.isShowing) into.push_back(thing);
  for (const auto& [child, childPath] : childrenOf(bus_, bus, path))
    collect(child, childPath, depth + 1, into);
}

std::optional<ScreenReader::Thing> ScreenReader::find(const std::string& name) {
  for (auto& thing : things())
    if (thing.name.find(name) != std::string::npos) return std::move(thing);
  return std::nullopt;
}
