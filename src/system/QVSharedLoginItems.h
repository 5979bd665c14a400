#pragma once

#include <optional>
#include <string>

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
