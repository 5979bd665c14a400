#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/Desktop.h"

// The session's list of programs started at login. An application is named by its path; an item is
// its own when it starts that path, and counts as a leftover of it when it only bears its name: a
// copy elsewhere, or one that is gone. Nothing for an absent path. Main thread only.
class QVSharedLoginItems {
 public:
  using Path = std::optional<std::string>;

  // `isValid`: an item starts this very application.
  static bool isLoginItem(const Path& application, bool& isValid);

  // Removes leftovers and appends a hidden item unless there is one. NO when that failed.
  static bool addLoginItem(const Path& application);

  // Removes its items and leftovers. YES when there was one to remove.
  static bool removeLoginItem(const Path& application);
};

// The running application among the programs started at login. Main thread only.
class QVAppInLoginItem {
 public:
  using Window = std::shared_ptr<platform::Window>;

  // 1 when an item starts this application, -1 when one only bears its name, 0 for none.
  static std::int64_t loginItemStatus();

  // The list is the user's to change: this shows how to, whatever is asked for.
  static void setIsLoginItem(bool isLoginItem, const Window& sender);

  // Instructions, on the window where alerts can be sheets; its second button opens the system's
  // settings. Without a sheet the answer is not looked at.
  static void showHowTo(const Window& window);
};
