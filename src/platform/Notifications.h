#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace platform {

struct Notification {
  std::string name;
  std::string object;  // says who posts
  std::map<std::string, std::string> userInfo;
};

// Notifications between the user's running programs. Posting is for any thread and never fails;
// without a carrier it reaches nobody else. Observers are called on the main thread.
class Notifications {
 public:
  using Observer = std::function<void(const Notification&)>;
  using ObserverId = std::uint64_t;

  virtual ~Notifications() = default;

  virtual void post(const Notification& notification) = 0;
  virtual ObserverId observe(const std::string& name, Observer observer) = 0;
  virtual void remove(ObserverId observer) = 0;
};

}  // namespace platform
