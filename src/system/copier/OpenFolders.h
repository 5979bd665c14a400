#pragma once

#include <fcntl.h>

#include <cstdint>
#include <mutex>
#include <vector>

#include "system/copier/Folder.h"

namespace copier {

inline constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

// Keeps a walk's folders open, but only so many of them: those unused for longest are closed, and
// opened anew when they are asked for, however deep they lie. The root stays open. Any thread.
class OpenFolders {
 public:
  // A folder that was just opened; notes the identities that it does not have yet.
  SidesPtr add(const FolderPtr& folder, Sides sides);

  // Null with errno set when it cannot be opened any more: ESTALE when another took its place. What
  // was handed out stays open for as long as it is held.
  SidesPtr acquire(const FolderPtr& folder);

  // Opens the next folders above that were closed, as the walk will come back to them, by way of
  // this one, which is shorter than from the root. A failure shows when such a folder is acquired.
  void openAbove(const FolderPtr& folder, const SidesPtr& sides);

  // Null while it is closed.
  SidesPtr find(const FolderPtr& folder);

  void close(const FolderPtr& folder);

 private:
  SidesPtr keep(const FolderPtr& folder, Sides sides);
  SidesPtr makeRoom();
  SidesPtr climbOpen(FolderPtr& at, SidesPtr sides);

  std::mutex mutex_;
  std::vector<FolderPtr> open_;  // without the root
  std::uint64_t uses_ = 0;
};

}  // namespace copier
