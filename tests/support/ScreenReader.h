#pragma once

#include <sys/types.h>

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/Bus.h"

// What a screen reader finds of the programs on a session bus: names, roles and places, by the
// desktop's accessibility interface. Programs must be started with QT_LINUX_ACCESSIBILITY_ALWAYS_ON
// and on the same bus.
class ScreenReader {
 public:
  using Place = std::pair<std::string, std::string>;  // a connection and a path

  struct Thing {
    Place at;
    std::string name{};
    std::string role{};
    int x = 0;  // on the screen, from its top left
    int y = 0;
    int width = 0;
    int height = 0;
    bool isShowing = false;

    int middleX() const { return x + width / 2; }
    int middleY() const { return y + height / 2; }
  };

  explicit ScreenReader(const std::string& sessionBus);
  ~ScreenReader();
  ScreenReader(const ScreenReader&) = delete;
  ScreenReader& operator=(const ScreenReader&) = delete;

  // Everything that shows, top down: windows, then the menus that were heard of. Empty while a
  // program does not answer.
  std::vector<Thing> things();
  // The first that shows and whose name contains the text.
  std::optional<Thing> find(const std::string& name);

 private:
  void connect(const std::string& sessionBus);
  void hear(sd_bus_message* message);
  // Menus are nobody's children: one hears of their items, and asks those.
  std::set<Place> menus() const;
  void collect(const Place& place, int depth, std::vector<Thing>& into) const;

  pid_t launcher_ = 0;
  std::set<Place> heard_;
  const platform::BusListener listener_ = [this](sd_bus_message* message) { hear(message); };
  platform::BusConnection bus_;
};
