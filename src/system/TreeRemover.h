#pragma once
// The one remover of trees: emptying a volume and dropping old generations both use it.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "leaf/Descriptor.h"
#include "platform/Result.h"

struct RemovalOutcome {
  std::uint64_t removedEntries = 0;
  // The first failure within each item that is not wholly gone, by the item's name.
  std::map<std::string, platform::SystemError> failedItems;

  bool complete() const { return failedItems.empty(); }
};

// Removes the named items of a folder, folders with all that is in them, with several threads.
// Links are removed, never followed, and no mount point is crossed: what holds one stays and is a
// failure, as is an item that is not there. A folder that its owner may not search or change is
// made so first. One entry that fails is logged and the rest goes on. Blocks the caller; any
// thread. With 0 threads it takes as many as serve a volume in memory best, one for each core.
RemovalOutcome removeItems(const std::vector<std::string>& names, const std::string& folder,
                           unsigned threads = 0);

// The same in a folder that is open, whatever lies at its path by now; messages name it by `path`.
RemovalOutcome removeItems(const std::vector<std::string>& names, Descriptor folder,
                           const std::string& path, unsigned threads = 0);

// Removes one item by its path below an open folder. The way down follows no link and enters no
// other mount either: ENOTDIR and EBUSY. Messages name the folder by `path`.
platform::Outcome removeItemBelow(const Descriptor& folder, const std::string& path,
                                  std::string_view relative);

// The same for one item. An item that is not there is a failure. With 0 threads it takes more than
// there are cores, as removing most often waits for the disk then.
platform::Outcome removeItemAtPath(const std::string& path, unsigned threads = 0);

// Removes from a folder every file that is the same one as that of its name in `other`, and folders
// that this leaves empty, so that the two have no file in common. Gives how many files went. What
// cannot be looked at stays.
std::uint64_t removeShared(const std::string& folder, const std::string& other,
                           unsigned threads = 0);
