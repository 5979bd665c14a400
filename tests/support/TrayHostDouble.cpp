#include "tests/support/TrayHostDouble.h"

#include <systemd/sd-bus.h>

#include "tests/support/Test.h"

using namespace platform;

namespace {

constexpr char kWatcher[] = "org.kde.StatusNotifierWatcher";
constexpr char kWatcherPath[] = "/StatusNotifierWatcher";
constexpr char kItem[] = "org.kde.StatusNotifierItem";
constexpr char kItemPath[] = "/StatusNotifierItem";
constexpr char kMenu[] = "com.canonical.dbusmenu";
constexpr char kProperties[] = "org.freedesktop.DBus.Properties";
constexpr std::uint64_t kHostPatience = 20'000'000;  // microseconds
constexpr auto kLimit = std::chrono::minutes(1);

std::string textIn(sd_bus_message* message, char type) {
  union {
    const char* text;
    std::int32_t number;
    std::uint32_t natural;
    int flag;
  } read{};
  EXPECT_GT(sd_bus_message_read_basic(message, type, &read), 0);
  if (type == 'b') return read.flag != 0 ? "true" : "false";
  if (type == 'i') return std::to_string(read.number);
  if (type == 'u') return std::to_string(read.natural);
  EXPECT_TRUE(type == 's' || type == 'o') << type;
  return read.text != nullptr ? read.text : "";
}

std::string bytesIn(sd_bus_message* message) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  EXPECT_GE(sd_bus_message_read_array(message, 'y', &bytes, &size), 0);
  return {static_cast<const char*>(bytes), size};
}

std::vector<BusValue> valuesIn(sd_bus_message* message);

BusValue valueIn(sd_bus_message* message, char type, const std::string& contents) {
  if (type == 'a' && contents == "y") return {bytesIn(message)};
  if (type != 'a' && type != 'v' && type != 'r' && type != 'e') return {textIn(message, type)};
  EXPECT_GT(sd_bus_message_enter_container(message, type, contents.c_str()), 0);
  BusValue value{{}, valuesIn(message)};
  EXPECT_GE(sd_bus_message_exit_container(message), 0);
  return type == 'v' ? value.parts.at(0) : value;
}

std::vector<BusValue> valuesIn(sd_bus_message* message) {
  std::vector<BusValue> values;
  char type = 0;
  const char* contents = nullptr;
  while (sd_bus_message_peek_type(message, &type, &contents) > 0)
    values.push_back(valueIn(message, type, contents != nullptr ? contents : ""));
  return values;
}

MenuLine lineIn(const BusValue& layout) {
  MenuLine line;
  if (layout.parts.size() != 3) return line;
  line.id = std::stoi(layout.parts[0].text);
  for (const auto& entry : layout.parts[1].parts)
    line.properties[entry.parts[0].text] = entry.parts[1].text;
  for (const auto& child : layout.parts[2].parts) line.children.push_back(lineIn(child));
  return line;
}

// Of an array of numbers with names.
std::map<int, std::vector<std::string>> namesById(const BusValue& all) {
  std::map<int, std::vector<std::string>> byId;
  for (const auto& each : all.parts)
    for (const auto& name : each.parts.at(1).parts)
      byId[std::stoi(each.parts.at(0).text)].push_back(name.text);
  return byId;
}

BusAnswer answerTo(sd_bus* bus, sd_bus_message* request) {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  sd_bus_call(bus, request, kHostPatience, &error, &reply);
  const BusMessage kept(reply);
  BusAnswer answer;
  if (reply != nullptr) answer.values = valuesIn(reply);
  if (sd_bus_error_is_set(&error) != 0) answer.error = error.name;
  sd_bus_error_free(&error);
  return answer;
}

}  // namespace

const BusValue* BusValue::find(const std::string& key) const {
  for (const auto& entry : parts)
    if (entry.parts.size() == 2 && entry.parts[0].text == key) return &entry.parts[1];
  return nullptr;
}

std::string BusValue::textOf(const std::string& key) const {
  const BusValue* found = find(key);
  return found != nullptr ? found->text : "";
}

std::string MenuLine::text(const std::string& property) const {
  const auto found = properties.find(property);
  return found != properties.end() ? found->second : "";
}

MenuLine MenuLine::find(const std::string& label) const {
  for (const auto& child : children) {
    if (child.text("label").find(label) != std::string::npos) return child;
    if (auto below = child.find(label); below.id != 0) return below;
  }
  return {};
}

TrayHostDouble::TrayHostDouble(const std::string& address)
    : listener_([this](sd_bus_message* message) { hear(message); }),
      bus_(address, BusOwner::Anybody, {[this](sd_bus* bus) { serve(bus); }, [](int) {}}) {
  perform([](sd_bus* bus) { EXPECT_NE(bus, nullptr); });
}

void TrayHostDouble::perform(const Bus::Work& work) { bus_.performAndWait(work, kLimit); }

void TrayHostDouble::serve(sd_bus* bus) {
  constexpr auto add = [](sd_bus_message* message, void* self, sd_bus_error*) {
    return static_cast<TrayHostDouble*>(self)->add(message);
  };
  constexpr auto tellHost = [](sd_bus*, const char*, const char*, const char*,
                               sd_bus_message* reply, void* self, sd_bus_error*) {
    auto& tray = *static_cast<TrayHostDouble*>(self);
    return sd_bus_message_append(reply, "b", tray.locked(tray.hasHost_));
  };
  static constexpr sd_bus_vtable kWhatItHas[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("RegisterStatusNotifierItem", "s", "", add, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_PROPERTY("IsStatusNotifierHostRegistered", "b", tellHost, 0, 0),
      SD_BUS_SIGNAL("StatusNotifierHostRegistered", "", 0),
      SD_BUS_SIGNAL("StatusNotifierHostUnregistered", "", 0),
      SD_BUS_VTABLE_END};
  EXPECT_GE(sd_bus_add_object_vtable(bus, nullptr, kWatcherPath, kWatcher, kWhatItHas, this), 0);
  for (const char* interface : {kItem, kMenu})
    EXPECT_TRUE(listenTo(bus, {nullptr, nullptr, interface, nullptr, nullptr}, listener_));
}

int TrayHostDouble::add(sd_bus_message* message) {
  const char* name = nullptr;
  EXPECT_GE(sd_bus_message_read(message, "s", &name), 0);
  const std::lock_guard lock(mutex_);
  items_.emplace_back(name);
  return sd_bus_reply_method_return(message, "");
}

void TrayHostDouble::come(bool withHost) {
  {
    const std::lock_guard lock(mutex_);
    hasHost_ = withHost;
  }
  perform([](sd_bus* bus) { EXPECT_GE(sd_bus_request_name(bus, kWatcher, 0), 0); });
}

void TrayHostDouble::leave() {
  perform([this](sd_bus* bus) {
    EXPECT_GE(sd_bus_release_name(bus, kWatcher), 0);
    const std::lock_guard lock(mutex_);
    items_.clear();
  });
}

void TrayHostDouble::setHost(bool isThere) {
  {
    const std::lock_guard lock(mutex_);
    hasHost_ = isThere;
  }
  announce(isThere ? "StatusNotifierHostRegistered" : "StatusNotifierHostUnregistered");
}

void TrayHostDouble::announce(const char* signal) {
  perform([signal](sd_bus* bus) {
    EXPECT_GE(sd_bus_emit_signal(bus, kWatcherPath, kWatcher, signal, ""), 0);
  });
}

void TrayHostDouble::hear(sd_bus_message* message) {
  const std::string member = sd_bus_message_get_member(message);
  const auto values = valuesIn(message);
  const std::lock_guard lock(mutex_);
  ++told_[member];
  if (member == "LayoutUpdated")
    announcedRevision_ = static_cast<std::uint32_t>(std::stoul(values.at(0).text));
  if (member == "NewStatus") lastStatus_ = values.at(0).text;
  if (member == "ItemsPropertiesUpdated") lost_ = namesById(values.at(1));
}

BusAnswer TrayHostDouble::ask(const std::string& path, const std::string& interface,
                              const std::string& member, const Append& append) {
  BusAnswer answer;
  perform([&, to = item()](sd_bus* bus) {
    sd_bus_message* request = nullptr;
    ASSERT_GE(sd_bus_message_new_method_call(bus, &request, to.c_str(), path.c_str(),
                                             interface.c_str(), member.c_str()),
              0);
    const BusMessage kept(request);
    if (append) append(request);
    answer = answerTo(bus, request);
  });
  return answer;
}

BusValue TrayHostDouble::properties() {
  auto answer = ask(kItemPath, kProperties, "GetAll",
                    [](sd_bus_message* message) { sd_bus_message_append(message, "s", kItem); });
  EXPECT_EQ(answer.error, "");
  return answer.values.empty() ? BusValue{} : answer.values[0];
}

void TrayHostDouble::activate(int x, int y) {
  const auto at = [&](sd_bus_message* message) { sd_bus_message_append(message, "ii", x, y); };
  EXPECT_EQ(ask(kItemPath, kItem, "Activate", at).error, "");
}

BusAnswer TrayHostDouble::menu(const std::string& member, const Append& append) {
  return ask(properties().textOf("Menu"), kMenu, member, append);
}

MenuLine TrayHostDouble::layout(int id, int depth) {
  const auto answer = menu("GetLayout", [&](sd_bus_message* message) {
    sd_bus_message_append(message, "iias", id, depth, 0);
  });
  EXPECT_EQ(answer.error, "");
  if (answer.values.size() != 2) return {};
  const std::lock_guard lock(mutex_);
  revision_ = static_cast<std::uint32_t>(std::stoul(answer.values[0].text));
  return lineIn(answer.values[1]);
}

bool TrayHostDouble::aboutToShow(int id) {
  const auto answer = menu(
      "AboutToShow", [&](sd_bus_message* message) { sd_bus_message_append(message, "i", id); });
  EXPECT_EQ(answer.error, "");
  return answer.values.size() == 1 && answer.values[0].text == "true";
}

BusAnswer TrayHostDouble::event(int id, const std::string& name) {
  return menu("Event", [&](sd_bus_message* message) {
    sd_bus_message_append(message, "isvu", id, name.c_str(), "s", "", 0);
  });
}

MenuLine TrayHostDouble::opened(int id) {
  aboutToShow(id);
  event(id, "opened");
  return layout(id);
}
