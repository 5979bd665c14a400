#pragma once
// The user's session: what its programs tell each other, what it starts, and its end.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/Result.h"

namespace platform {

struct Notification {
  std::string name;
  std::string object;  // says who posts
  std::map<std::string, std::string> userInfo;
};

// Notifications between the user's running programs. Posting is for any thread and never fails;
// without a carrier it reaches nobody else, and what others post meanwhile is missed. Observers are
// added, called and removed on the main thread; one that was removed is not called any more, also
// for what was posted before.
class Notifications {
 public:
  using Observer = std::function<void(const Notification&)>;
  using ObserverId = std::uint64_t;

  virtual ~Notifications() = default;

  virtual void post(const Notification& notification) = 0;
  virtual ObserverId observe(const std::string& name, Observer observer) = 0;
  virtual void remove(ObserverId observer) = 0;
};

// One entry of the session's list of programs started at login.
struct LoginItem {
  std::string displayName;
  std::string reference;            // the port's own handle for remove()
  std::optional<std::string> path;  // the program it starts; nullopt when it cannot be resolved
  bool stale = false;               // it resolves to a program that does not exist
};

// What the session starts at login. After a failed call the list is as before. Main thread only.
class LoginItems {
 public:
  virtual ~LoginItems() = default;

  virtual Result<std::vector<LoginItem>> snapshot() const = 0;

  // Appends an entry for `path`, kept out of the user's sight where the session can hide it.
  virtual Outcome insertHiddenAtEnd(const std::string& path) = 0;
  virtual Outcome remove(const LoginItem& item) = 0;
};

// The end of the user's session, a shutdown, or sleep, where the system announces them. Main thread
// only.
class SessionEnd {
 public:
  virtual ~SessionEnd() = default;

  // Calls `announced` on the main thread when one of them is about to happen. Replaces the former
  // one; an empty function stops it.
  virtual void observe(std::function<void()> announced) = 0;

  // Holds it back, as long as the system grants, until release(); `why` is shown to the user. false
  // where nothing can be held. Holding twice is holding once.
  virtual bool hold(const std::string& why) = 0;
  virtual void release() = 0;
};

}  // namespace platform
