#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/linux/Bus.h"

// A value from the bus, variants unwrapped: a text, or parts.
struct BusValue {
  std::string text{};  // numbers in decimals, "true" or "false", bytes as they are
  std::vector<BusValue> parts{};

  // Of a dictionary: the value of the key, null for none.
  const BusValue* find(const std::string& key) const;
  std::string textOf(const std::string& key) const;
};

// What an answer holds, or the name of the error.
struct BusAnswer {
  std::string error{};
  std::vector<BusValue> values{};
};

// An item of a menu that came over the bus.
struct MenuLine {
  int id = 0;
  std::map<std::string, std::string> properties{};
  std::vector<MenuLine> children{};

  std::string text(const std::string& property) const;
  // The first below this whose label contains the text; an empty one for none.
  MenuLine find(const std::string& label) const;
};

// The tray of a desktop as the bus sees it: the watcher that items register with, and the host that
// shows them and draws their menus. It takes the first item that came. Any thread.
class TrayHostDouble {
 public:
  explicit TrayHostDouble(const std::string& address);

  // The watcher comes, with or without a host behind it, and goes with all it knew.
  void come(bool withHost = true);
  void leave();
  void setHost(bool isThere);

  // Since it came last.
  std::size_t registrations() { return locked(items_).size(); }
  // What the first registered as, empty for none yet.
  std::string item() {
    const auto items = locked(items_);
    return items.empty() ? "" : items.front();
  }

  using Append = std::function<void(sd_bus_message*)>;
  BusAnswer ask(const std::string& path, const std::string& interface, const std::string& member,
                const Append& append = {});
  // All properties of the item.
  BusValue properties();
  void activate(int x, int y);

  // The menu, as a host that draws it asks for it.
  BusAnswer menu(const std::string& member, const Append& append = {});
  MenuLine layout(int id = 0, int depth = -1);
  bool aboutToShow(int id);
  BusAnswer event(int id, const std::string& name);
  // Opens the item and gives what is in it then.
  MenuLine opened(int id);

  std::uint32_t revision() { return locked(revision_); }                    // of the last layout
  std::uint32_t announcedRevision() { return locked(announcedRevision_); }  // by LayoutUpdated
  std::string lastStatus() { return locked(lastStatus_); }                  // by NewStatus
  // The properties that the last ItemsPropertiesUpdated said an item of the menu has no more.
  std::vector<std::string> lostBy(int id) { return locked(lost_)[id]; }
  // How often the item or its menu sent it.
  std::size_t told(const std::string& signal) { return locked(told_)[signal]; }

 private:
  template <class Value>
  Value locked(const Value& value) {
    const std::lock_guard lock(mutex_);
    return value;
  }
  void serve(sd_bus* bus);
  void perform(const platform::Bus::Work& work);
  int add(sd_bus_message* message);
  void hear(sd_bus_message* message);
  void announce(const char* signal);

  std::mutex mutex_;  // guards what follows
  bool hasHost_ = true;
  std::vector<std::string> items_;
  std::map<std::string, std::size_t> told_;
  std::map<int, std::vector<std::string>> lost_;
  std::uint32_t revision_ = 0;
  std::uint32_t announcedRevision_ = 0;
  std::string lastStatus_;
  platform::BusListener listener_;
  platform::Bus bus_;  // last: its thread uses everything above
};
