#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "system/copier/Folders.h"

namespace copier {

// Where each file that has several links was made first, so that its other links become links to
// that copy. Some 50 bytes a file. Any thread.
class LinkTable {
  struct Shard;
  struct Slots;

 public:
  struct Made {
    FolderPtr folder;
    std::string name;
  };

  // Whoever comes to a link of one file waits until the one before has made it, for only a whole
  // copy may be linked to.
  class Turn {
   public:
    std::optional<Made> made() const;
    void remember(const FolderPtr& folder, const char* name);

   private:
    friend class LinkTable;
    Turn(LinkTable& table, Shard& shard, dev_t device, ino_t inode);

    LinkTable& table_;
    Shard& shard_;
    std::unique_lock<std::mutex> lock_;
    Slots& slots_;
    ino_t inode_;
  };

  Turn turn(dev_t device, ino_t inode);

 private:
  struct Slot {
    ino_t inode = 0;  // 0 for an empty slot
    std::uint32_t folder = 0;
    std::uint32_t name = 0;  // where it begins in Shard::names
  };

  // Of one device; open addressing.
  struct Slots {
    dev_t device;
    std::vector<Slot> slots{};
    std::size_t used = 0;

    Slot& slotFor(ino_t inode);
    void makeRoom();
  };

  struct Shard {
    std::mutex mutex;
    std::vector<Slots> devices;
    std::string names;  // each with a terminator

    Slots& slotsOf(dev_t device);
  };

  std::uint32_t numberOf(const FolderPtr& folder);
  FolderPtr folderOf(std::uint32_t number);

  std::array<Shard, 64> shards_;
  std::mutex mutex_;  // guards folders_
  std::vector<FolderPtr> folders_;
};

}  // namespace copier
