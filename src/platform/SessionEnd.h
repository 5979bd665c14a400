#pragma once

#include <functional>
#include <string>

namespace platform {

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
